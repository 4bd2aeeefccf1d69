#pragma once
// Who waits for an event of the device. The interrupt pipe is read only while somebody does, so
// that events stay in the device until then; each goes to all who wait.

#include <deque>
#include <map>
#include <vector>

#include "usbscan/host/EventLoop.h"
#include "usbscan/host/HostConnection.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class EventWaiters {
  public:
    EventWaiters(EventLoop& loop, UsbDevice& device) noexcept
        : loop_(loop), device_(device), patience_(loop) {}

    /// The connection gets an Event message: the next event, or nothing once its time is up.
    void add(HostConnection& waiter);
    void remove(HostConnection& waiter);

  private:
    void read();
    void came(UsbStatus status, std::span<const std::byte> bytes);
    void deliver();
    static void answer(HostConnection& waiter, std::span<const std::byte> event);

    EventLoop& loop_;
    UsbDevice& device_;
    std::map<HostConnection*, Timer> waiters_;
    bool reading_ = false;
    std::vector<std::byte> event_;  // as far as it has come
    // That came when the last waiter had just gone.
    std::deque<std::vector<std::byte>> unheard_;
    Timer patience_;
};

}  // namespace zlk::usbscan
