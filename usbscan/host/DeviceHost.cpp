#include "usbscan/host/DeviceHost.h"

#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/ClientListener.h"
#include "usbscan/host/ControlAnswers.h"
#include "usbscan/host/ControlQueue.h"
#include "usbscan/host/EventWaiters.h"
#include "usbscan/host/HostRecording.h"
#include "usbscan/host/Transactions.h"

namespace zlk::usbscan {
namespace {

constexpr std::size_t maxMute = 64;

}  // namespace

class DeviceHost::Impl final : ClientConnection::Owner, Transactions::Owner {
  public:
    Impl(EventLoop& loop, std::unique_ptr<UsbDevice> device, std::chrono::milliseconds idleTime,
         std::function<void()> ended)
        : loop_(loop),
          device_(std::make_unique<RecordingDevice>(std::move(device))),
          idleTime_(idleTime),
          ended_(std::move(ended)),
          listener_(loop, [this](int client) { serve(client); }),
          controls_(*device_),
          answers_(*device_, controls_, [this] { deviceGone(); }),
          transactions_(loop, *device_, controls_, *this),
          events_(loop, *device_),
          recording_(
              loop, *device_, [this](std::string_view line) { tellAll(line); },
              [this] { return transactions_.recovering(); }),
          idle_(loop) {
        watchIdleness();
    }

    ~Impl() {
        listener_.stop();
        // The device goes before the connections, whose bytes may be in a transfer.
        device_.reset();
    }

    void listenOn(int socket) { listener_.listenOn(socket); }

    void serve(int client) {
        auto connection = std::make_unique<ClientConnection>(
            loop_, client, static_cast<ClientConnection::Owner&>(*this));
        clients_.emplace(connection.get(), std::move(connection));
        watchIdleness();
    }

    /// The order matters: every client gets its error first, and a recording is completed while its
    /// client can still be answered.
    void deviceGone() override {
        if (gone_) return;
        gone_ = true;
        transactions_.end();
        listener_.stop();
        for (ClientConnection* client : allClients())
            killHandle(*client, ERROR_DEVICE_NOT_CONNECTED);
        recording_.deviceGone();
        for (ClientConnection* client : allClients()) client->finish();
        loop_.post(ended_);
    }

  private:
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
                // Cancel ends a wait for an event, too. The next event is for the next wait.
                events_.remove(from);
                transactions_.giveUp(from);
                return from.send({0, MessageKind::Cancelled, 0, header.turn});
            default:
                return from.finish();
        }
    }

    void receivedPart(ClientConnection& from, const WritePart& part) override {
        if (!from.dead && from.opened.version) return transactions_.take(from, part);
        killHandle(from, ERROR_INVALID_HANDLE);
        from.resume();
    }

    void lost(ClientConnection& connection) override {
        events_.remove(connection);
        answers_.remove(connection);
        recording_.remove(connection);
        transactions_.lost(connection);
        loop_.post(lifetime_.guard([this, &connection] {
            if (transactions_.mayBeDestroyed(connection)) released(connection);
        }));
    }

    void released(ClientConnection& connection) override {
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
        transactions_.settle();
    }

    /// A device that answers nothing, and doesn't cancel transactions either, costs a process one
    /// time-out and not one for each of its commands. Other processes may try, and this one may try
    /// again once the device has sent something.
    void unheardBy(pid_t process) override {
        if (mute_.size() >= maxMute) mute_.clear();
        mute_.insert(process);
        for (ClientConnection* client : allClients())
            if (client->process() == process) killHandle(*client, ERROR_SEM_TIMEOUT);
    }

    void heard() override { mute_.clear(); }

    /// Clients that rely on the session that the reset has ended must not go on in another session.
    /// A client that has sent no command has none.
    void sessionLost() override {
        for (ClientConnection* client : allClients()) {
            if (!client->hasCommanded) continue;
            client->note("The device was reset, and its session is over");
            killHandle(*client, ERROR_INVALID_HANDLE);
        }
    }

    void tellAll(std::string_view line) override {
        for (ClientConnection* client : allClients()) client->note(line);
    }

    std::vector<ClientConnection*> allClients() const {
        std::vector<ClientConnection*> all;
        for (const auto& [client, owned] : clients_) all.push_back(client);
        return all;
    }

    void killHandle(ClientConnection& client, DWORD error) {
        client.dead = true;
        client.dropData();
        transactions_.dropCommands(client);
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

    EventLoop& loop_;
    std::unique_ptr<RecordingDevice> device_;
    const std::chrono::milliseconds idleTime_;
    const std::function<void()> ended_;
    bool gone_ = false;

    std::map<ClientConnection*, std::unique_ptr<ClientConnection>> clients_;
    ClientListener listener_;
    ControlQueue controls_;
    ControlAnswers answers_;
    Transactions transactions_;
    EventWaiters events_;
    HostRecording recording_;
    std::set<pid_t> mute_;  // processes for which the device has answered nothing
    Timer idle_;
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

}  // namespace zlk::usbscan
