#pragma once
// Runs the PTP transactions of all clients on the device, one after the other: writes commands and
// data, reads what is due, and hands what has come to the client whose transaction it belongs to.
// After a transaction that is broken off, the device is recovered. For the thread of the event loop
// only.

#include <sys/types.h>

#include <bitset>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/ContainerFollower.h"
#include "usbscan/host/ControlQueue.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/Recovery.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class Transactions final : UsbDevice::Listener {
  public:
    class Owner {
      public:
        /// A line for the traces of all clients.
        virtual void tellAll(std::string_view line) = 0;
        /// The device has sent something, and not during a recovery.
        virtual void heard() = 0;
        /// The device has answered nothing to a process, and doesn't cancel transactions either.
        virtual void unheardBy(pid_t process) = 0;
        /// The device was reset, which has ended its PTP session.
        virtual void sessionLost() = 0;
        /// The device is unplugged, or can't be recovered. The owner must call end().
        virtual void deviceGone() = 0;
        /// Follows a call of mayBeDestroyed() that returned false: the client's bytes are no longer
        /// in a transfer.
        virtual void released(ClientConnection& client) = 0;

      protected:
        ~Owner() = default;
    };

    /// Becomes the device's listener. `loop`, `controls` and `owner` must outlive this object. The
    /// device may be destroyed first, after which no function may be called. The device must be
    /// destroyed before the clients, whose bytes it may be sending.
    Transactions(EventLoop& loop, UsbDevice& device, ControlQueue& controls, Owner& owner);
    Transactions(const Transactions&) = delete;
    Transactions& operator=(const Transactions&) = delete;

    /// To be called before the first command is taken: ends what an earlier host may have left
    /// open. Further calls do nothing.
    void settle();
    /// Whether a transaction is being recovered from, or will be once a write has ended.
    bool recovering() const { return recovery_.running() || recoverAfterWrite_; }

    /// Takes a command, or the next data of the client's transaction. The client's resume() is
    /// called once the bytes are no longer needed. Data of a transaction that isn't open is
    /// answered with Failed.
    void take(ClientConnection& from, const WritePart& part);
    /// Recovers the device if the open transaction is this client's.
    void giveUp(ClientConnection& client);
    /// Drops the client's commands that have not begun, and lets it send others.
    void dropCommands(ClientConnection& client);
    /// The client is gone: nothing more is sent to it. If its transaction is open and incomplete,
    /// the device is recovered.
    void lost(ClientConnection& client);
    /// Whether none of a lost client's bytes are in a transfer. If false, the transfer is
    /// cancelled, and released() follows.
    bool mayBeDestroyed(const ClientConnection& client);
    /// To be called when the device is gone: no command begins and nothing is received any more.
    void end();

  private:
    struct Transaction {
        ClientConnection* owner = nullptr;
        std::uint16_t turn = 0;  // the owner's number for it
        std::uint32_t id = 0;
        std::uint16_t code = 0;
        bool open = false;
        bool taken = false;        // the device has taken the last write
        bool answered = false;     // the response is queued for the owner
        bool sending = false;      // more parts of the owner's Write are to come
        bool heard = false;        // the device has sent something since the command
        bool dataEnded = false;    // a data phase from the device is complete
        bool cleared = false;      // the pipe was found halted, and was cleared
        unsigned zeroPackets = 0;  // zero-length packets that came in a row
        std::optional<std::uint64_t> dataToSend{};  // bytes left of a data phase to the device
    };
    struct Command {
        ClientConnection* from;
        WritePart part;
    };
    /// What each operation did before, by its code. Except in `takesData`, the last time counts.
    struct Habits {
        std::bitset<65536> bringsMuch;  // more than is asked for while the length isn't known
        std::bitset<65536> takesData;   // data was sent to the device at any time
        std::bitset<65536> bringsData;  // data and a response came, and no read was taken back
    };

    // Begin and end of a transaction
    void nextCommand();
    bool isComplete() const { return transaction_.answered && !transaction_.sending && !writer_; }
    void closeIfComplete();
    /// Fails the open transaction for its owner, and recovers the device.
    void fail(DWORD error);
    /// Closes the transaction, and sends its owner the error.
    void tellOwner(DWORD error);

    // To the device
    void noteDataToSend(const WritePart& part);
    void write(ClientConnection& from, const WritePart& part);
    void written(UsbStatus status);
    /// Begins the recovery that had to wait for the end of this write, unless the end shows that
    /// none is needed.
    void recoverAfter(UsbStatus status, bool wasTaken);

    // From the device
    /// Asks for the bytes that are due.
    void readOn();
    void arrived(UsbPiece piece) override;
    void readingStopped(UsbStatus why) override;
    void zeroPacket();
    void data(const ContainerCut& cut, const std::shared_ptr<const void>& keeper);

    // Time and recovery
    /// Limits the time until the device next takes or sends something.
    void watchProgress();
    void timeOut();
    bool awaitsClient() const;
    /// Whether the device has all that it needs for a response, and the response hasn't come.
    bool mayBeAnswered() const;
    /// `inVain`: the device has been waited for already, or has broken off.
    void recover(const char* why, bool inVain = false);
    void startRecovery();
    void recovered(Recovery::Outcome outcome);

    UsbDevice& device_;
    Owner& owner_;
    Recovery recovery_;
    bool settled_ = false;  // the recovery before the first command has begun
    bool ended_ = false;

    std::deque<Command> commands_;        // waiting for a recovery to end
    ClientConnection* writer_ = nullptr;  // whose bytes are in a transfer to the device
    EventLoop::Clock::time_point writingSince_{};
    bool writerLeft_ = false;  // the writer is gone; released() follows the end of the write
    Transaction transaction_;  // the last one; owner and turn stay, for a late zero-length packet
    bool zeroPacketOwed_ = false;  // the last container filled its packets
    std::vector<ContainerCut> cuts_;
    ContainerFollower follower_;
    Habits habits_;

    bool recoverAfterWrite_ = false;  // a recovery waits for the end of the write
    bool answerMayCome_ = false;      // the transaction under recovery may be answered
    unsigned recoveriesInARow_ = 0;
    pid_t unheard_ = 0;  // the process that waited in vain; 0 once the recovery is over
    Timer progress_, lateZeroPacket_;
};

}  // namespace zlk::usbscan
