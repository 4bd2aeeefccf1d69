#include "usbscan/host/DeviceHost.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/descriptor.h"
#include "platform/error.h"
#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/ContainerFollower.h"
#include "usbscan/host/ControlAnswers.h"
#include "usbscan/host/ControlQueue.h"
#include "usbscan/host/EventWaiters.h"
#include "usbscan/host/HostRecording.h"
#include "usbscan/host/Recovery.h"

namespace zlk::usbscan {
namespace {

constexpr std::uint64_t unknownLength = ~std::uint64_t{};
// With more, and no transaction between them, the device counts as gone.
constexpr unsigned maxRecoveriesInARow = 3;
constexpr std::size_t maxMute = 64;
constexpr std::chrono::milliseconds acceptPause{100};
// A transfer that fills its packets may be followed by a zero-length packet, and some devices send
// one too many. A device that goes on is out of step, and nothing else would limit a client's
// queue.
constexpr unsigned maxZeroPacketsInARow = 8;
// How long the answer may take to a command that the device had taken before its pipe was cleared.
constexpr std::chrono::milliseconds patienceAfterHalt{1000};
// A device in good order takes a command in less time.
constexpr std::chrono::milliseconds promptly{100};
// How long a zero-length packet may take that is due after a response.
constexpr std::chrono::milliseconds zeroPacketPatience{100};

/// Only the user who started the host, and root, may use the device.
bool mayConnect(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == ::geteuid() || peer.uid == 0);
}

/// The next connection. -1 with errno; EAGAIN if none waits.
int acceptFrom(int listening) {
    for (;;) {
        const int socket = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket < 0 && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (socket < 0 || mayConnect(socket)) return socket;
        ::close(socket);
    }
}

}  // namespace

class DeviceHost::Impl final : UsbDevice::Listener, ClientConnection::Owner {
  public:
    Impl(EventLoop& loop, std::unique_ptr<UsbDevice> device, std::chrono::milliseconds idleTime,
         std::function<void()> ended)
        : loop_(loop),
          device_(std::make_unique<RecordingDevice>(std::move(device))),
          idleTime_(idleTime),
          ended_(std::move(ended)),
          follower_(device_->facts().bulkIn.maximumPacketSize),
          controls_(*device_),
          answers_(*device_, controls_, [this] { deviceGone(); }),
          recovery_(loop, *device_, controls_),
          events_(loop, *device_),
          recording_(
              loop, *device_, [this](std::string_view line) { tellAll(line); },
              [this] { return recovering(); }),
          idle_(loop),
          listenAgain_(loop),
          progress_(loop),
          lateZeroPacket_(loop) {
        device_->setListener(this);
        watchIdleness();
    }

    ~Impl() {
        if (listening_ >= 0) loop_.forget(listening_);
        // The device goes before the connections, whose bytes may be in a transfer.
        device_.reset();
    }

    void listenOn(int socket) {
        listening_ = socket;
        loop_.watch(socket, POLLIN, [this](short) {
            for (int client; (client = acceptFrom(listening_)) >= 0;) serve(client);
            // Anything but EAGAIN means that no file descriptor is left. The client goes on
            // waiting, and would wake the loop again and again.
            if (errno == EAGAIN) return;
            loop_.expect(listening_, 0);
            listenAgain_.start(acceptPause, [this] { loop_.expect(listening_, POLLIN); });
        });
    }

    void serve(int client) {
        auto connection = std::make_unique<ClientConnection>(
            loop_, client, static_cast<ClientConnection::Owner&>(*this));
        clients_.emplace(connection.get(), std::move(connection));
        watchIdleness();
    }

    /// The order matters: every client gets its error first, and a recording is completed while its
    /// client can still be answered.
    void deviceGone() {
        if (gone_) return;
        gone_ = true;
        transaction_.open = false;
        progress_.stop();
        lateZeroPacket_.stop();
        if (listening_ >= 0) loop_.forget(listening_);
        listening_ = -1;
        device_->setListener(nullptr);
        for (ClientConnection* client : allClients())
            killHandle(*client, ERROR_DEVICE_NOT_CONNECTED);
        recording_.deviceGone();
        for (ClientConnection* client : allClients()) client->finish();
        loop_.post(ended_);
    }

  private:
    struct Transaction {
        ClientConnection* owner = nullptr;
        std::uint16_t turn = 0;  // the owner's number for it
        std::uint32_t id = 0;
        std::uint16_t code = 0;
        bool open = false;
        bool taken = false;        // the device has taken the last write
        bool answered = false;     // the response is queued for the owner
        bool sending = false;      // a Write of the owner isn't at its end
        bool heard = false;        // the device has sent something since the command
        bool dataEnded = false;    // a data phase from the device is complete
        bool cleared = false;      // the pipe was found halted, and was cleared
        unsigned zeroPackets = 0;  // that came with nothing between them
        std::optional<std::uint64_t> dataToSend{};  // bytes left of a data phase to the device
    };
    struct Command {
        ClientConnection* from;
        WritePart part;
    };

    // From the clients

    void received(ClientConnection& from, const MessageHeader& header,
                  std::span<const std::byte> payload) override {
        if (!from.opened.version) {
            if (header.kind == MessageKind::Open && payload.size() == sizeof from.opened)
                std::memcpy(&from.opened, payload.data(), sizeof from.opened);
            if (from.opened.version != protocolVersion) return from.finish();
            return open(from);
        }
        switch (header.kind) {
            case MessageKind::Control:
                if (!answers_.answer(from, payload)) from.finish();
                return;
            case MessageKind::WaitEvent:
                return events_.add(from);
            case MessageKind::Record:
                return recording_.begin(from, payload);
            case MessageKind::EndRecord:
                return recording_.end(from);
            case MessageKind::Cancel:
                if (transaction_.open && transaction_.owner == &from) recover("given up");
                return from.send({0, MessageKind::Cancelled, 0, header.turn});
            default:
                return from.finish();
        }
    }

    void receivedPart(ClientConnection& from, const WritePart& part) override {
        const bool whole = part.first && part.last && part.bytes.size() >= containerHeaderSize;
        if (from.dead || !from.opened.version) {
            killHandle(from, ERROR_INVALID_HANDLE);
            from.resume();
        } else if (whole && containerType(part.bytes) == ContainerType::Command) {
            commands_.push_back({&from, part});
            nextCommand();
        } else if (transaction_.open && transaction_.owner == &from &&
                   transaction_.turn == part.turn) {
            // Some devices lose a read that is pending while data is sent to them.
            device_->stopReading();
            noteDataToSend(part);
            write(from, part);
        } else {
            // The transaction of these bytes has failed meanwhile, or there never was one.
            if (part.last) from.sendError(MessageKind::Failed, ERROR_OPERATION_ABORTED, part.turn);
            from.resume();
        }
    }

    void lost(ClientConnection& connection) override {
        events_.remove(connection);
        answers_.remove(connection);
        recording_.remove(connection);
        std::erase_if(commands_,
                      [&](const Command& command) { return command.from == &connection; });
        const bool owned = transaction_.owner == &connection;
        if (owned) transaction_.owner = nullptr;
        // The client may be found gone while it is sent the response; then nothing needs recovery.
        if (owned && transaction_.open && !isComplete()) recover("its client is gone");
        loop_.post(lifetime_.guard([this, &connection] { remove(connection); }));
    }

    void remove(ClientConnection& connection) {
        // Its bytes may still be in a transfer, so it is destroyed when the write has ended.
        if (writer_ == &connection) {
            writerLeft_ = true;
            return device_->cancelWrite();
        }
        clients_.erase(&connection);
        watchIdleness();
    }

    void open(ClientConnection& client) {
        if (mute_.contains(client.process())) {
            client.sendError(MessageKind::Refused, ERROR_SEM_TIMEOUT);
            return client.finish();
        }
        client.send(
            {0, MessageKind::Opened, recording_.isRunning() ? isRecorded : std::uint8_t{0}, 0});
        if (std::exchange(settled_, true)) return;
        recovery_.settle([this](Recovery::Outcome outcome) { recovered(outcome); });
    }

    /// A device that answers nothing, and can't be cancelled either, costs a process one time-out
    /// and not one for each of its commands. Other processes may try, and this one may again once
    /// the device has sent something.
    void countAsMute(pid_t process) {
        if (mute_.size() >= maxMute) mute_.clear();
        mute_.insert(process);
        for (ClientConnection* client : allClients())
            if (client->process() == process) killHandle(*client, ERROR_SEM_TIMEOUT);
    }

    std::vector<ClientConnection*> allClients() const {
        std::vector<ClientConnection*> all;
        for (const auto& [client, owned] : clients_) all.push_back(client);
        return all;
    }

    void tellAll(std::string_view line) {
        for (ClientConnection* client : allClients()) client->note(line);
    }

    void killHandle(ClientConnection& client, DWORD error) {
        client.dead = true;
        client.dropData();
        const auto isIts = [&](const Command& command) { return command.from == &client; };
        if (std::erase_if(commands_, isIts) > 0) client.resume();
        events_.remove(client);
        client.sendError(MessageKind::Failed, error, 0, handleIsDead);
    }

    void watchIdleness() {
        idle_.stop();
        if (clients_.empty() && !gone_ && idleTime_.count() > 0)
            idle_.start(idleTime_, [this] {
                gone_ = true;
                loop_.post(ended_);
            });
    }

    // Transactions

    bool recovering() const { return recovery_.running() || recoverAfterWrite_; }

    void nextCommand() {
        if (gone_ || recovering() || commands_.empty()) return;
        // Clients take turns by the port's mutex, so a new command shows that the owner of the open
        // transaction doesn't wait for its end any more.
        if (transaction_.open) {
            if (transaction_.owner != commands_.front().from) tellOwner(ERROR_OPERATION_ABORTED);
            return recover("overtaken by a new command");
        }
        const Command command = commands_.front();
        commands_.pop_front();
        lateZeroPacket_.stop();
        device_->stopReading();
        command.from->dropData();
        transaction_ = {.owner = command.from,
                        .turn = command.part.turn,
                        .id = containerTransaction(command.part.bytes),
                        .code = containerCode(command.part.bytes),
                        .open = true};
        follower_.reset(transaction_.id, bringsMuch_[transaction_.code]
                                             ? areaSlotSize
                                             : ContainerFollower::dueOfUnknown);
        command.from->hasCommanded = true;
        write(*command.from, command.part);
    }

    /// Asks for the bytes that are due and no more: no read may be pending once the transaction is
    /// over, nor before its command is written. Host controllers and devices get out of step over
    /// reads that have to be taken back.
    void readOn() {
        const bool wanted = transaction_.open && !transaction_.answered;
        if (!wanted || transaction_.sending || writer_) return;
        // The response then arrives with the end of the data, without a transfer of its own.
        const bool andResponse = bringsData_[transaction_.code] && !transaction_.dataEnded;
        device_->read(follower_.due(), andResponse);
    }

    void write(ClientConnection& from, const WritePart& part) {
        transaction_.sending = !part.last;
        writer_ = &from;
        writingSince_ = EventLoop::Clock::now();
        watchProgress();
        device_->write(part.bytes, part.last, [this](UsbStatus status) { written(status); });
    }

    void written(UsbStatus status) {
        ClientConnection* const writer = std::exchange(writer_, nullptr);
        if (status == UsbStatus::Gone) return deviceGone();
        if (std::exchange(writerLeft_, false)) {
            remove(*writer);
        } else {
            writer->resume();
        }
        const bool wasTaken = std::exchange(transaction_.taken, status == UsbStatus::Done);
        // A recovery was asked for while this write was under way, and had to wait for its end.
        if (recoverAfterWrite_) {
            answerMayCome_ = answerMayCome_ && status == UsbStatus::Done;
            // A command is one packet. A device that hasn't taken it has nothing to end, unless it
            // no longer takes anything.
            const bool justBegun = EventLoop::Clock::now() - writingSince_ < promptly;
            if (status != UsbStatus::Cancelled || wasTaken || !justBegun) return startRecovery();
            recoverAfterWrite_ = false;
            return recovered(Recovery::Outcome::SessionAlive);
        }
        if (status == UsbStatus::Stalled) device_->clearHalt(device_->facts().bulkOut.address);
        if (status != UsbStatus::Done) return failTransaction(lastErrorOf(status));
        if (transaction_.open) watchProgress();
        closeIfComplete();
        readOn();
    }

    void watchProgress() {
        const ClientConnection* owner = transaction_.owner;
        const std::chrono::milliseconds limit(owner ? owner->opened.transferTimeout : 0);
        progress_.start(limit, [this] {
            // A client that is suspended, or shows a dialog, is not the camera's fault.
            if (awaitsClient())
                watchProgress();
            else
                timeOut();
        });
    }

    void timeOut() {
        if (!transaction_.heard && transaction_.owner) unheard_ = transaction_.owner->process();
        failTransaction(ERROR_SEM_TIMEOUT);
    }

    bool awaitsClient() const {
        const bool owesData = transaction_.sending && !writer_;
        return transaction_.owner && (owesData || transaction_.owner->isBehind());
    }

    void failTransaction(DWORD error) {
        if (!transaction_.open) return;
        tellOwner(error);
        recover("it failed", true);
    }

    void tellOwner(DWORD error) {
        // The transaction is closed first: an owner that turns out to be gone needs no recovery.
        transaction_.open = false;
        ClientConnection* const owner = transaction_.owner;
        if (!owner) return;
        owner->dropData();
        owner->sendError(MessageKind::Failed, error, transaction_.turn);
    }

    bool isComplete() const { return transaction_.answered && !transaction_.sending && !writer_; }

    void closeIfComplete() {
        if (!transaction_.open || !isComplete()) return;
        transaction_.open = false;
        progress_.stop();
        recoveriesInARow_ = 0;
        const bool isLeft = device_->stopReading();
        bringsData_[transaction_.code] = transaction_.dataEnded && !isLeft;
        // The response filled its packets. Its zero-length packet is read now, or would stand
        // before the next answer; many devices leave it out, so the read is taken back after a
        // while.
        if (zeroPacketOwed_) {
            device_->read(1, false);
            lateZeroPacket_.start(zeroPacketPatience, [this] { device_->stopReading(); });
        }
        nextCommand();
    }

    /// Whether the device has all that it needs for a response, and still owes it.
    bool mayBeAnswered() const {
        const std::uint64_t unsent =
            transaction_.dataToSend.value_or(takesData_[transaction_.code] ? 1 : 0);
        return !transaction_.answered && unsent == 0;
    }

    void noteDataToSend(const WritePart& part) {
        std::optional<std::uint64_t>& left = transaction_.dataToSend;
        takesData_[transaction_.code] = true;
        if (!left) left = part.bytes.size() >= 4 ? containerLength(part.bytes) : unknownLength;
        *left -= std::min<std::uint64_t>(*left, part.bytes.size());
    }

    /// `inVain`: the device has been waited for already, or has broken off.
    void recover(const char* why, bool inVain = false) {
        transaction_.open = false;
        answerMayCome_ = !inVain && mayBeAnswered();
        progress_.stop();
        tellAll("Cancelling transaction " + std::to_string(transaction_.id) +
                " of the device: " + why);
        if (transaction_.owner) transaction_.owner->dropData();
        if (++recoveriesInARow_ > maxRecoveriesInARow) return deviceGone();
        recoverAfterWrite_ = true;
        if (writer_)
            device_->cancelWrite();
        else
            startRecovery();
    }

    void startRecovery() {
        recoverAfterWrite_ = false;
        lateZeroPacket_.stop();
        recovery_.start({.id = transaction_.id,
                         .mayBeAnswered = answerMayCome_,
                         .again = recoveriesInARow_ > 1},
                        [this](Recovery::Outcome outcome) { recovered(outcome); });
    }

    void recovered(Recovery::Outcome outcome) {
        if (outcome == Recovery::Outcome::DeviceGone) return deviceGone();
        if (outcome == Recovery::Outcome::SessionLost) loseSession();
        const pid_t unheard = std::exchange(unheard_, 0);
        if (outcome == Recovery::Outcome::LeftInPeace && unheard != 0) countAsMute(unheard);
        zeroPacketOwed_ = false;
        nextCommand();
    }

    /// Clients that rely on the session that the reset has ended must not go on in another session.
    /// A client that has sent no command has none.
    void loseSession() {
        for (ClientConnection* client : allClients()) {
            if (!client->hasCommanded) continue;
            client->note("The device was reset, and its session is over");
            killHandle(*client, ERROR_INVALID_HANDLE);
        }
    }

    // From the device

    void arrived(UsbPiece piece) override {
        cuts_.clear();
        follower_.follow(piece.bytes, piece.endsTransfer, cuts_);
        if (recovering())
            return recovery_.arrived(piece.bytes,
                                     std::ranges::any_of(cuts_, &ContainerCut::endsResponse));
        for (const ContainerCut& cut : cuts_) {
            if (cut.bytes.empty())
                zeroPacket();
            else
                data(cut, cut.isHeld ? nullptr : piece.keeper);
        }
        transaction_.heard = true;
        mute_.clear();
        if (transaction_.open) watchProgress();
        closeIfComplete();
        readOn();
    }

    void zeroPacket() {
        const bool owed = std::exchange(zeroPacketOwed_, false);
        lateZeroPacket_.stop();
        if (transaction_.open && ++transaction_.zeroPackets > maxZeroPacketsInARow)
            return failTransaction(ERROR_GEN_FAILURE);
        if (ClientConnection* owner = transaction_.owner; owner && (transaction_.open || owed))
            owner->send({0, MessageKind::ZeroPacket, 0, transaction_.turn});
    }

    void data(const ContainerCut& cut, const std::shared_ptr<const void>& keeper) {
        zeroPacketOwed_ = cut.zeroPacketDue;
        transaction_.zeroPackets = 0;
        if (!transaction_.open || !transaction_.owner) return;
        const int flags = (cut.zeroPacketDue ? zeroPacketDue : 0) |
                          (cut.endsContainer ? containerEnds : 0) |
                          (cut.endsResponse ? answerEnds : 0);
        // Most operations bring little data each time, or much each time.
        if (cut.endsData) {
            bringsMuch_[transaction_.code] = cut.container > ContainerFollower::dueOfUnknown;
            transaction_.dataEnded = true;
        }
        if (cut.endsResponse) transaction_.answered = true;
        // A client can't do anything with the end of the data before it has the response.
        transaction_.owner->send(
            {0, MessageKind::Data, static_cast<std::uint8_t>(flags), transaction_.turn}, cut.bytes,
            keeper,
            cut.endsData ? ClientConnection::When::WithTheNext : ClientConnection::When::Now);
    }

    void readingStopped(UsbStatus why) override {
        if (why == UsbStatus::Gone) return deviceGone();
        if (recovering()) return recovery_.stalled();
        // The recovery goes on reading, or else the next command.
        device_->clearHalt(device_->facts().bulkIn.address);
        const bool maybeOlder = why == UsbStatus::Stalled && transaction_.open &&
                                !transaction_.heard && !transaction_.cleared;
        if (!maybeOlder) return failTransaction(lastErrorOf(why));
        // The pipe may have been halted since the transaction before, which left nothing to read.
        // Then the answer to this one still comes.
        transaction_.cleared = true;
        progress_.start(patienceAfterHalt, [this] { failTransaction(ERROR_GEN_FAILURE); });
        readOn();
    }

    EventLoop& loop_;
    std::unique_ptr<RecordingDevice> device_;
    const std::chrono::milliseconds idleTime_;
    const std::function<void()> ended_;
    int listening_ = -1;
    bool gone_ = false;

    std::map<ClientConnection*, std::unique_ptr<ClientConnection>> clients_;
    std::deque<Command> commands_;        // waiting for a recovery to end
    ClientConnection* writer_ = nullptr;  // whose bytes are in a transfer to the device
    EventLoop::Clock::time_point writingSince_{};
    bool writerLeft_ = false;  // it is to be destroyed when the write has ended
    Transaction transaction_;  // the last one; owner and turn stay, for a late zero-length packet
    bool zeroPacketOwed_ = false;  // the last container filled its packets
    std::vector<ContainerCut> cuts_;
    ContainerFollower follower_;
    // What each operation did the last time, by its code.
    std::bitset<65536> bringsMuch_;  // more data than is asked for before the length is known
    std::bitset<65536> takesData_;   // data was sent to the device
    std::bitset<65536> bringsData_;  // data and a response came, and no read had to be taken back

    ControlQueue controls_;
    ControlAnswers answers_;
    Recovery recovery_;
    bool recoverAfterWrite_ = false;  // a recovery waits for the end of the write
    bool answerMayCome_ = false;      // to the transaction that is being recovered from
    unsigned recoveriesInARow_ = 0;
    EventWaiters events_;
    HostRecording recording_;
    bool settled_ = false;  // the first client has begun the recovery at the start
    pid_t unheard_ = 0;     // the process that waited in vain; 0 once the recovery is over
    std::set<pid_t> mute_;  // processes for which the device has answered nothing
    Timer idle_, listenAgain_, progress_, lateZeroPacket_;
    Lifetime lifetime_;
};

DeviceHost::DeviceHost(EventLoop& loop, std::unique_ptr<UsbDevice> device,
                       std::chrono::milliseconds idleTime, std::function<void()> ended)
    : impl_(std::make_unique<Impl>(loop, std::move(device), idleTime, std::move(ended))) {}

DeviceHost::~DeviceHost() = default;

void DeviceHost::listenOn(int socket) {
    impl_->listenOn(socket);
}

void DeviceHost::serve(int client) {
    impl_->serve(client);
}

void DeviceHost::deviceGone() {
    impl_->deviceGone();
}

void refuseWaiting(int socket, std::uint32_t error) {
    struct {
        MessageHeader header;
        std::uint32_t error;
    } const refusal{{sizeof error, MessageKind::Refused, 0, 0}, error};
    // All are accepted before the first is refused: a client that connects after that may reach a
    // new host, which may have more success.
    std::vector<Descriptor> waiting;
    while (Descriptor client{acceptFrom(socket)}) waiting.push_back(std::move(client));
    for (const Descriptor& client : waiting)
        // The message fits into the socket's buffer, and a client that is gone needs no answer.
        static_cast<void>(::send(client.get(), &refusal, sizeof refusal, MSG_NOSIGNAL));
}

}  // namespace zlk::usbscan
