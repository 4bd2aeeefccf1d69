#pragma once
// Who waits for an event of the device. The interrupt pipe is read only while somebody does, so
// that events stay in the device until then; each goes to all who wait.

#include <deque>
#include <map>
#include <vector>

#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class EventWaiters {
  public:
    EventWaiters(EventLoop& loop, UsbDevice& device) noexcept
        : loop_(loop), device_(device), patience_(loop) {}

    /// The connection gets an Event message: the next event, or nothing once its time is up.
    void add(ClientConnection& waiter);
    void remove(ClientConnection& waiter);

  private:
    void read();
    void came(UsbStatus status, std::span<const std::byte> bytes);
    void deliver();
    static void answer(ClientConnection& waiter, std::span<const std::byte> event);

    EventLoop& loop_;
    UsbDevice& device_;
    std::map<ClientConnection*, Timer> waiters_;
    bool reading_ = false;
    std::vector<std::byte> event_;  // as far as it has come
    // Events that arrived after the last waiter had left; the next waiter gets them first.
    std::deque<std::vector<std::byte>> unheard_;
    Timer patience_;
};

}  // namespace zlk::usbscan
