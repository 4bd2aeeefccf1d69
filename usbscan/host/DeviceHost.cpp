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
constexpr unsigned maxRecoveriesInARow = 3;
constexpr std::size_t maxMute = 64;
constexpr std::chrono::milliseconds acceptPause{100};
// A transfer that fills its packets may have one behind it, and some devices send one too many;
// whoever goes on is out of step, and nothing else bounds what he fills a client's queue with.
constexpr unsigned maxZeroPacketsInARow = 8;
// An answer to what the device had taken already when its pipe was cleared.
constexpr std::chrono::milliseconds patienceAfterHalt{1000};
// A device that is well takes a command in less.
constexpr std::chrono::milliseconds promptly{100};
// How long a packet of no bytes may take that is due after a response.
constexpr std::chrono::milliseconds zeroPacketPatience{100};

/// Only the user himself, and root, may talk to his devices.
bool mayConnect(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == ::geteuid() || peer.uid == 0);
}

/// -1 with errno; EAGAIN if nobody waits.
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
        // Before the connections, whose bytes may be on their way.
        device_.reset();
    }

    void listenOn(int socket) {
        listening_ = socket;
        loop_.watch(socket, POLLIN, [this](short) {
            for (int client; (client = acceptFrom(listening_)) >= 0;) serve(client);
            // No descriptor is left for whoever waits, who would wake us without end.
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
        std::uint16_t turn = 0;
        std::uint32_t id = 0;
        std::uint16_t code = 0;
        bool open = false;
        bool taken = false;        // the device has its command
        bool answered = false;     // its response is out
        bool sending = false;      // a message of the client isn't written to its end
        bool heard = false;        // the device has sent something since its command
        bool dataEnded = false;    // a data phase towards us is read to its end
        bool cleared = false;      // a halt of the pipe that it found
        unsigned zeroPackets = 0;  // with nothing between them
        std::optional<std::uint64_t> dataToSend{};  // what is left of a data phase towards it
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
            // Some devices lose a read that waits while they are sent data.
            device_->stopReading();
            noteDataToSend(part);
            write(from, part);
        } else {
            // Its transaction has failed meanwhile, or there never was one.
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
        // It may turn out to be gone when it is sent the response.
        if (owned && transaction_.open && !isComplete()) recover("its client is gone");
        loop_.post(lifetime_.guard([this, &connection] { remove(connection); }));
    }

    void remove(ClientConnection& connection) {
        // Its bytes may still be on their way to the device.
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

    /// A device that has answered nothing, and doesn't cancel either, costs a process one time-out
    /// and not one for each of its questions. Another process may try, and so may this one once
    /// the device has been heard.
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
        // Whoever has the one that is open is no longer waiting for its end: commands come one at
        // a time, behind the port's mutex.
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

    /// As far as is due and not a byte further: nothing may wait at the device's pipe once the
    /// transaction is over, nor before its command is written. Host controllers, and devices, get
    /// out of step over reads that have to be taken back.
    void readOn() {
        const bool wanted = transaction_.open && !transaction_.answered;
        if (!wanted || transaction_.sending || writer_) return;
        // The response is at hand with the data's end, which saves waiting for it by itself.
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
        if (recoverAfterWrite_) {
            answerMayCome_ = answerMayCome_ && status == UsbStatus::Done;
            // A command is one packet. A device that hasn't taken it yet has nothing to end, unless
            // it doesn't take anything any more.
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
            // A client that was stopped, or shows a dialog, is not the camera's fault.
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
        // Closed first: an owner who turns out to be gone needs no recovery of his own.
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
        if (zeroPacketOwed_) {
            device_->read(1, false);
            lateZeroPacket_.start(zeroPacketPatience, [this] { device_->stopReading(); });
        }
        nextCommand();
    }

    /// Whether the device owes us something, and not we it.
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

    /// `inVain`: the device was waited for already, or has broken off.
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

    /// Those who believe in the session that the reset has ended must not go on in another one.
    /// One that has sent nothing yet has none.
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
        // Most operations bring little data, or much, each time.
        if (cut.endsData) {
            bringsMuch_[transaction_.code] = cut.container > ContainerFollower::dueOfUnknown;
            transaction_.dataEnded = true;
        }
        if (cut.endsResponse) transaction_.answered = true;
        // The end of the data is of no use to anybody who hasn't got the response.
        transaction_.owner->send(
            {0, MessageKind::Data, static_cast<std::uint8_t>(flags), transaction_.turn}, cut.bytes,
            keeper,
            cut.endsData ? ClientConnection::When::WithTheNext : ClientConnection::When::Now);
    }

    void readingStopped(UsbStatus why) override {
        if (why == UsbStatus::Gone) return deviceGone();
        if (recovering()) return recovery_.stalled();
        // Reading goes on with the recovery, or else with the next command.
        device_->clearHalt(device_->facts().bulkIn.address);
        const bool maybeOlder = why == UsbStatus::Stalled && transaction_.open &&
                                !transaction_.heard && !transaction_.cleared;
        if (!maybeOlder) return failTransaction(lastErrorOf(why));
        // The pipe may be halted since the transaction before, in which nothing was left to read.
        // Then the answer to this one follows.
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
    std::deque<Command> commands_;        // that wait for a recovery
    ClientConnection* writer_ = nullptr;  // whose bytes are on their way to the device
    EventLoop::Clock::time_point writingSince_{};
    bool writerLeft_ = false;
    Transaction transaction_;  // the last one; its owner and turn stay, for a late zero packet
    bool zeroPacketOwed_ = false;
    std::vector<ContainerCut> cuts_;
    ContainerFollower follower_;
    // By operation, as it was the last time.
    std::bitset<65536> bringsMuch_;  // more data than is due before their length is known
    std::bitset<65536> takesData_;   // it was sent some
    std::bitset<65536> bringsData_;  // data and a response, and nothing was left to be taken back

    ControlQueue controls_;
    ControlAnswers answers_;
    Recovery recovery_;
    bool recoverAfterWrite_ = false;
    bool answerMayCome_ = false;  // to the transaction that is to be ended
    unsigned recoveriesInARow_ = 0;
    EventWaiters events_;
    HostRecording recording_;
    bool settled_ = false;  // the first client's coming has begun it
    pid_t unheard_ = 0;     // the process that has waited in vain, until the recovery's end
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
    // Whoever comes once the first has been told may know better than we do, and starts another.
    std::vector<Descriptor> waiting;
    while (Descriptor client{acceptFrom(socket)}) waiting.push_back(std::move(client));
    for (const Descriptor& client : waiting)
        // It fits, and whoever has gone meanwhile needs no answer.
        static_cast<void>(::send(client.get(), &refusal, sizeof refusal, MSG_NOSIGNAL));
}

}  // namespace zlk::usbscan
