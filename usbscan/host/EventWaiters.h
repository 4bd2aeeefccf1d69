#pragma once
// The clients that wait for an event of the device. The interrupt pipe is read only while a client
// waits or an event is incomplete; at other times events stay in the device. An event goes to all
// clients that wait when it arrives. An event that finds no client waiting is kept for the next
// client that waits.

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

    /// Answers the client with an Event message: the next event, or no bytes once the client's time
    /// is up. A client that waits already isn't added twice.
    void add(ClientConnection& waiter);
    /// Forgets a client, which gets no answer.
    void remove(ClientConnection& waiter);

  private:
    /// Starts an interrupt transfer if none is under way and the device has an interrupt pipe.
    void read();
    /// Takes what an interrupt transfer brought, which may be only a part of an event.
    void came(UsbStatus status, std::span<const std::byte> bytes);
    /// Hands the event to all clients that wait. If none waits, keeps it for the next one.
    void deliver();
    static void answer(ClientConnection& waiter, std::span<const std::byte> event);

    EventLoop& loop_;
    UsbDevice& device_;
    std::map<ClientConnection*, Timer> waiters_;  // with the time that each has left
    bool reading_ = false;                        // an interrupt transfer is in flight
    std::vector<std::byte> event_;                // the part of an event that has come
    // Events that arrived after the last waiter had left. The next waiter gets the oldest one.
    std::deque<std::vector<std::byte>> unheard_;
    Timer patience_;  // runs while an event is incomplete
};

}  // namespace zlk::usbscan
