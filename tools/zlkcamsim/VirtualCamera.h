#pragma once
// A still camera on the bus. Containers come in, and the responder or a recording answers them. In
// between the judge watches, the faults interfere, and the log records.

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

/// Used on the thread of the event loop only.
class VirtualCamera final : public UsbFunction, private BulkInPipe::Listener {
  public:
    /// `packetSize` is 8, 16, 32, 64, 512 or 1024 bytes. The loop outlives this.
    VirtualCamera(usbscan::EventLoop& loop, const Identity& identity, std::uint16_t packetSize,
                  const Traits& traits = {});

    /// From now on plays the device of a recording, with its descriptors and answers, whatever lies
    /// on the storages. `say` gets a line when the recording lacks something that is to be played.
    void replay(Recording recording, std::function<void(const std::string&)> say);

    // For testers.
    const Identity& identity() const { return identity_; }
    ObjectStore& store() { return store_; }
    Responder& responder() { return responder_; }
    FaultList& faults() { return faults_; }
    Judge& judge() { return judge_; }
    TransactionLog& log() { return log_; }
    const Session& session() const { return session_; }
    /// Whether a transaction is going on. It ends when the host has the response, or when it is
    /// broken off.
    bool transactionOpen() const { return open_.has_value(); }
    /// How many commands have come.
    std::uint64_t transactions() const { return transactions_; }
    /// Queues an interrupt transfer with these bytes; it is dropped if 64 are waiting. `seen` is
    /// called when the host has fetched the transfer or can't fetch it any more.
    void sendInterrupt(
        Bytes transfer, std::function<void()> seen = [] {});
    /// Queues an event as a camera does when objects come or go: only in a session, and not while
    /// events are switched off.
    void raise(
        const Message& event, std::function<void()> seen = [] {});
    void setEventsEnabled(bool enabled) { eventsEnabled_ = enabled; }
    /// Ends the session and an open transaction, of which the host isn't told.
    void loseSession();
    /// `pulled` is called from the loop when a fault pulls the cable.
    void setPulled(std::function<void()> pulled) { pulled_ = std::move(pulled); }

    // For the bus: UsbFunction.
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

    /// Applies the faults of this phase. Returns the pipe's answer if one of them refuses the
    /// bytes.
    std::optional<PipeAnswer> strike(ByteView bytes);
    void takeStrikers(Phase phase, Code operation);
    std::optional<PipeAnswer> apply(const Fault& fault);
    /// Whether the payload has reached the place of a fault.
    bool isReached(const Fault& fault, ByteView bytes) const;
    void add(ByteView bytes);
    void transferArrived();
    /// Prepares for the next transfer from the host.
    void forgetTransfer();
    void commandArrived(const ContainerHeader& header);
    /// Writes the answer to the open command to the pipe. The answer comes from a fault, the
    /// recording or the responder.
    void execute();
    /// Plays the recorded answer to the open command, or refuses a command that was never recorded.
    /// False if the camera has to answer by itself, because only it knows whether a session is
    /// open.
    bool playRecorded();
    Reply run();
    /// Ends the open transaction without a response, and empties the bulk pipes.
    void breakTransaction();

    // Control requests: VirtualCamera_requests.cpp
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
    // Set if a recorded device is played.
    std::optional<Replay> replay_;
    Judge judge_;
    FaultList faults_;
    TransactionLog log_;
    BulkInPipe bulkIn_;
    std::function<void()> wake_ = [] {}, pulled_ = [] {};
    std::uint64_t transactions_ = 0;

    std::optional<Message> open_;  ///< the command whose response the host hasn't fetched
    std::unique_ptr<Spool> data_;  ///< its data phase, which is to come or has begun
    // The response that a fault gives instead of running the operation.
    std::optional<Code> forcedAnswer_;

    // The current transfer from the host.
    Bytes head_;  ///< its first bytes: a header, or a whole command
    // How many of its bytes have come.
    std::uint64_t arrived_ = 0;
    // Faults of its phase that still wait for their place.
    std::deque<Fault> striking_;
    // Whether the faults of its phase have been chosen.
    bool strikersTaken_ = false;
    bool outHalted_ = false, outSilent_ = false, isPulled_ = false;
    usbscan::Timer outDelay_;

    bool eventsEnabled_ = true;
    std::deque<WaitingInterrupt> interrupts_;
    // How often the status still has to be busy because of faults.
    unsigned busyAnswers_ = 0;
    // Expires with this object, so that tasks in the loop can see that the object is gone.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace zlk::camsim
