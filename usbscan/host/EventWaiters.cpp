#include "usbscan/host/EventWaiters.h"

#include <cstring>
#include <utility>

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t maxUnheard = 16;
constexpr std::uint32_t maxEvent = 200;
// How long the rest of an event may take that comes in several packets.
constexpr auto patience = 100ms;

bool isWhole(std::span<const std::byte> event) {
    std::uint32_t length = 0;
    if (event.size() < sizeof length) return true;
    std::memcpy(&length, event.data(), sizeof length);
    return length > maxEvent || event.size() >= length;
}

}  // namespace

void EventWaiters::add(ClientConnection& waiter) {
    if (waiters_.contains(&waiter)) return;
    if (!unheard_.empty()) {
        answer(waiter, unheard_.front());
        unheard_.pop_front();
        return;
    }
    const std::chrono::milliseconds limit(waiter.opened.eventTimeout);
    waiters_.try_emplace(&waiter, loop_).first->second.start(limit, [this, &waiter] {
        remove(waiter);
        answer(waiter, {});
    });
    read();
}

void EventWaiters::remove(ClientConnection& waiter) {
    if (waiters_.erase(&waiter) && waiters_.empty() && reading_) device_.cancelInterrupt();
}

void EventWaiters::answer(ClientConnection& waiter, std::span<const std::byte> event) {
    waiter.send({0, MessageKind::Event, 0, 0}, event);
}

void EventWaiters::read() {
    // A device without that pipe has no events; its waiters' time runs out.
    if (reading_ || device_.facts().interruptIn.address == 0) return;
    reading_ = true;
    device_.waitForInterrupt([this](UsbStatus status, std::span<const std::byte> bytes) {
        reading_ = false;
        came(status, bytes);
    });
}

void EventWaiters::came(UsbStatus status, std::span<const std::byte> bytes) {
    if (status == UsbStatus::Done) {
        event_.insert(event_.end(), bytes.begin(), bytes.end());
        if (!event_.empty() && isWhole(event_)) {
            deliver();
        } else if (!event_.empty()) {
            patience_.start(patience, [this] { deliver(); });
            return read();
        }
    } else if (status == UsbStatus::Stalled) {
        device_.clearHalt(device_.facts().interruptIn.address);
    }
    const bool goesOn = status == UsbStatus::Done || status == UsbStatus::Cancelled;
    if (!waiters_.empty() && goesOn) read();
}

void EventWaiters::deliver() {
    patience_.stop();
    const std::vector<std::byte> event = std::exchange(event_, {});
    if (waiters_.empty()) {
        if (unheard_.size() == maxUnheard) unheard_.pop_front();
        unheard_.push_back(event);
    }
    // Whoever is gone is found out by answering, and removed from inside of it.
    const auto waiters = std::exchange(waiters_, {});
    for (const auto& [waiter, timer] : waiters) answer(*waiter, event);
    if (reading_) device_.cancelInterrupt();
}

}  // namespace zlk::usbscan
