#include "usbscan/host/EventWaiters.h"

#include <cstring>
#include <utility>

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

// Events kept for later waiters. When one more comes, the oldest is dropped.
constexpr std::size_t maxUnheard = 16;
// Bytes; a larger length isn't believed, and what has come counts as the event.
constexpr std::uint32_t maxEvent = 200;
// How long the next packet of an incomplete event may take.
constexpr auto patience = 100ms;

/// Whether the event is complete: it has as many bytes as its length field says, or no usable
/// length field.
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
    // A device without an interrupt pipe has no events, and the time of its waiters runs out.
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
    // After an error or a stall the pipe isn't read again until a client asks anew, or the host
    // would run in circles.
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
    // The waiters are moved out of the map first: answering one may show that its client is gone,
    // which calls remove().
    const auto waiters = std::exchange(waiters_, {});
    for (const auto& [waiter, timer] : waiters) answer(*waiter, event);
    if (reading_) device_.cancelInterrupt();
}

}  // namespace zlk::usbscan
