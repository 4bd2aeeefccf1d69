#pragma once
// Accepts clients at a host's listening socket: those of the user who started the host, and root's.
// For the thread of the event loop only.

#include <cstdint>
#include <functional>

#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

class ClientListener {
  public:
    /// `loop` must outlive the listener. `accepted` gets the non-blocking socket of each client,
    /// and owns it.
    ClientListener(EventLoop& loop, std::function<void(int client)> accepted)
        : loop_(loop), accepted_(std::move(accepted)), pause_(loop) {}
    ~ClientListener() { stop(); }

    /// Begins to accept at this listening, non-blocking socket, which stays its caller's.
    void listenOn(int socket);
    void stop();

  private:
    void acceptAll();

    EventLoop& loop_;
    const std::function<void(int)> accepted_;
    int socket_ = -1;
    Timer pause_;  // runs until accepting is tried again
};

/// Refuses, with this last error, the clients that are queued at this listening, non-blocking
/// socket. A client that connects after that is left to the next host.
void refuseWaiting(int socket, std::uint32_t error);

}  // namespace zlk::usbscan
