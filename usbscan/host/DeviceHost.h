#pragma once
// Shares one device between many client connections: greets each client, and hands its messages to
// the part that answers them. Protocol.h has the messages. For the thread of the event loop only.

#include <chrono>
#include <functional>
#include <memory>

#include "usbscan/host/EventLoop.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class DeviceHost {
  public:
    /// `loop` must outlive the host. `ended` is called once, from the loop: `idleTime` after the
    /// last client went (or after the start, if none came), or after the device has gone. With an
    /// `idleTime` of 0 the host doesn't end before the device has gone.
    DeviceHost(EventLoop& loop, std::unique_ptr<UsbDevice> device,
               std::chrono::milliseconds idleTime, std::function<void()> ended);
    ~DeviceHost();

    /// Serves the clients that connect to this listening, non-blocking socket and belong to the
    /// host's own user or to root. The caller keeps the socket and closes it.
    void listenOn(int socket);
    /// Serves one client, and takes ownership of its non-blocking socket.
    void serve(int client);
    /// To be called when the device has been unplugged: every client is told at once.
    void deviceGone();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zlk::usbscan
