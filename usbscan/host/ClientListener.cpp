#include "usbscan/host/ClientListener.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

#include "platform/descriptor.h"
#include "usbscan/Protocol.h"

namespace zlk::usbscan {
namespace {

constexpr std::chrono::milliseconds acceptPause{100};

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

void ClientListener::listenOn(int socket) {
    socket_ = socket;
    loop_.watch(socket, POLLIN, [this](short) { acceptAll(); });
}

void ClientListener::stop() {
    pause_.stop();
    if (const int socket = std::exchange(socket_, -1); socket >= 0) loop_.forget(socket);
}

void ClientListener::acceptAll() {
    for (int client; (client = acceptFrom(socket_)) >= 0;) accepted_(client);
    // After any error but EAGAIN, such as a lack of file descriptors, the client goes on waiting,
    // and would wake the loop again and again.
    if (errno == EAGAIN) return;
    loop_.expect(socket_, 0);
    pause_.start(acceptPause, [this] { loop_.expect(socket_, POLLIN); });
}

void refuseWaiting(int socket, std::uint32_t error) {
    struct {
        MessageHeader header;
        std::uint32_t error;
    } const refusal{{sizeof error, MessageKind::Refused, 0, 0}, error};
    // All waiting clients are accepted before the first refusal: a client that connects after it is
    // left to a new host, which may have more success.
    std::vector<Descriptor> waiting;
    while (Descriptor client{acceptFrom(socket)}) waiting.push_back(std::move(client));
    for (const Descriptor& client : waiting)
        // The message fits into the socket's buffer, and a client that is gone needs no answer.
        static_cast<void>(::send(client.get(), &refusal, sizeof refusal, MSG_NOSIGNAL));
}

}  // namespace zlk::usbscan
