#pragma once
// A still camera on the bus: containers come in, the responder answers, and the judge, the faults
// and the log stand between.

#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "tools/zlkcamsim/BulkInPipe.h"
#include "tools/zlkcamsim/Fault.h"
#include "tools/zlkcamsim/Judge.h"
#include "tools/zlkcamsim/ObjectStore.h"
#include "tools/zlkcamsim/Replay.h"
#include "tools/zlkcamsim/Responder.h"
#include "tools/zlkcamsim/TransactionLog.h"
#include "tools/zlkcamsim/UsbFunction.h"

namespace zlk::camsim {

class VirtualCamera final : public UsbFunction, private BulkInPipe::Listener {
  public:
    /// `packetSize` 64, 512 or 1024. The loop is for what takes its time.
    VirtualCamera(usbscan::EventLoop& loop, const Identity& identity, std::uint16_t packetSize,
                  const Traits& traits = {});

    /// Plays the device of a recording from now on: its descriptors and its answers, whatever lies
    /// on the storages. `say` gets a line for each thing that the recording doesn't have.
    void replay(Recording recording, std::function<void(const std::string&)> say);

    // What a tester does with it.
    const Identity& identity() const { return identity_; }
    ObjectStore& store() { return store_; }
    Responder& responder() { return responder_; }
    FaultList& faults() { return faults_; }
    Judge& judge() { return judge_; }
    TransactionLog& log() { return log_; }
    const Session& session() const { return session_; }
    bool transactionOpen() const { return open_.has_value(); }
    std::uint64_t transactions() const { return transactions_; }
    /// An interrupt transfer, as it stands; nothing is sent while 64 wait. `seen` is called when
    /// the host has fetched it, or never will.
    void sendInterrupt(
        Bytes transfer, std::function<void()> seen = [] {});
    /// An event that an object's coming or going raises; only within a session, and not while
    /// they are switched off.
    void raise(
        const Message& event, std::function<void()> seen = [] {});
    void setEventsEnabled(bool enabled) { eventsEnabled_ = enabled; }
    /// Powered off and on again without the host's noticing.
    void loseSession();
    /// Called, from the loop, when a fault pulls the cable.
    void setPulled(std::function<void()> pulled) { pulled_ = std::move(pulled); }

    // The bus.
    std::uint16_t bulkPacketSize() const override { return bulkIn_.packetSize(); }
    Bytes deviceDescriptor() const override;
    Bytes configurationDescriptor() const override;
    Bytes stringDescriptor(std::uint8_t index) const override;
    void setWake(std::function<void()> wake) override { wake_ = std::move(wake); }
    PipeAnswer out(ByteView bytes, bool ends) override;
    PipeBytes in(std::size_t room) override;
    PipeBytes interrupt(std::size_t room) override;
    ControlAnswer control(const SetupPacket& setup, ByteView out) override;
    void clearHalt(std::uint8_t address) override;
    void busReset() override;

  private:
    void transactionCompleted() override { open_.reset(); }
    void pipeStalled() override { breakTransaction(); }
    void cablePulled() override;
    void pipeReady() override { wake_(); }

    std::optional<PipeAnswer> strike(ByteView bytes);
    void takeStrikers(Phase phase, Code operation);
    std::optional<PipeAnswer> apply(const Fault& fault);
    bool isReached(const Fault& fault, ByteView bytes) const;
    void add(ByteView bytes);
    void transferArrived();
    void forgetTransfer();
    void commandArrived(const ContainerHeader& header);
    void execute();
    /// False for what the camera knows better than its recording: whether a session is open.
    bool playRecorded();
    Reply run();
    void breakTransaction();

    // Control: VirtualCamera_requests.cpp
    ControlAnswer standardRequest(const SetupPacket& setup);
    ControlAnswer deviceStatus();
    bool cancel(ByteView request);
    void resetDevice();

    struct WaitingInterrupt {
        Payload transfer;
        std::function<void()> seen;
    };

    usbscan::EventLoop& loop_;
    Identity identity_;
    Session session_;
    ObjectStore store_;
    Responder responder_;
    std::optional<Replay> replay_;
    Judge judge_;
    FaultList faults_;
    TransactionLog log_;
    BulkInPipe bulkIn_;
    std::function<void()> wake_ = [] {}, pulled_ = [] {};
    std::uint64_t transactions_ = 0;

    std::optional<Message> open_;  ///< its response hasn't been handed out
    std::unique_ptr<Spool> data_;  ///< its data phase is still to come, or has begun
    std::optional<Code> forcedAnswer_;

    // The transfer from the host that goes on.
    Bytes head_;  ///< its first bytes, as far as a header or a command go
    std::uint64_t arrived_ = 0;
    std::deque<Fault> striking_;
    bool strikersTaken_ = false;
    bool outHalted_ = false, outSilent_ = false, isPulled_ = false;
    usbscan::Timer outDelay_;

    bool eventsEnabled_ = true;
    std::deque<WaitingInterrupt> interrupts_;
    unsigned busyAnswers_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace zlk::camsim
