#pragma once
// One device shared by many connections: it follows the containers, keeps transactions whole,
// brings the device back after a client that died or gave up, and speaks Protocol.h.

#include <chrono>
#include <functional>
#include <memory>

#include "usbscan/host/EventLoop.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class DeviceHost {
  public:
    /// `ended` is called once, when the host has nobody to serve any more: `idleTime` after its
    /// last client went (or after the start, if none came), or when the device is gone and
    /// everybody has been told. 0 as `idleTime`: only then.
    DeviceHost(EventLoop& loop, std::unique_ptr<UsbDevice> device,
               std::chrono::milliseconds idleTime, std::function<void()> ended);
    ~DeviceHost();

    /// Serves whoever connects to this listening, non-blocking socket, which stays its caller's.
    void listenOn(int socket);
    /// Takes over the socket of a client.
    void serve(int client);
    /// The device has been unplugged: everybody is told at once.
    void deviceGone();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// Refuses, with this last error, exactly the clients that are queued at this listening,
/// non-blocking socket when it is called. One that connects later is left to the next host.
void refuseWaiting(int socket, std::uint32_t error);

}  // namespace zlk::usbscan
