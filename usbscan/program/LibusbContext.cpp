#include "usbscan/program/LibusbContext.h"

#include <sys/time.h>

#include <utility>

namespace zlk::usbscan {
namespace {

timeval timevalOf(std::chrono::milliseconds time) {
    return {time.count() / 1000, time.count() % 1000 * 1000};
}

}  // namespace

LibusbError::LibusbError(const char* what, int code)
    : std::runtime_error(std::string(what) + ": " + libusb_error_name(code)), code_(code) {}

int checked(const char* what, int result) {
    if (result < 0) throw LibusbError(what, result);
    return result;
}

LibusbContext::LibusbContext(EventLoop& loop) : loop_(loop), timeouts_(loop) {
    checked("libusb", libusb_init(&context_));
    // The notifiers are set first, so that no descriptor is missed; those that exist already are
    // added afterwards.
    libusb_set_pollfd_notifiers(
        context_,
        [](int fd, short events, void* self) {
            static_cast<LibusbContext*>(self)->watch(fd, events);
        },
        [](int fd, void* self) { static_cast<LibusbContext*>(self)->loop_.forget(fd); }, this);
    const libusb_pollfd** polled = libusb_get_pollfds(context_);
    for (auto entry = polled; entry && *entry; ++entry) watch((*entry)->fd, (*entry)->events);
    libusb_free_pollfds(polled);
}

LibusbContext::~LibusbContext() {
    // This also calls the notifier that takes the descriptors out of the loop.
    libusb_exit(context_);
}

void LibusbContext::watch(int fd, short events) {
    loop_.watch(fd, events, [this](short) { work({}); });
}

void LibusbContext::work(std::chrono::milliseconds atMost) {
    timeval time = timevalOf(atMost);
    libusb_handle_events_timeout_completed(context_, &time, nullptr);
    timeoutsChanged();
}

bool LibusbContext::workUntil(const std::function<bool()>& done, std::chrono::milliseconds atMost) {
    const auto end = EventLoop::Clock::now() + atMost;
    while (!done()) {
        const auto left = end - EventLoop::Clock::now();
        if (left <= EventLoop::Clock::duration::zero()) return false;
        work(std::chrono::ceil<std::chrono::milliseconds>(left));
    }
    return true;
}

void LibusbContext::post(EventLoop::Task task) {
    loop_.post([alive = std::weak_ptr(alive_), task = std::move(task)] {
        if (!alive.expired()) task();
    });
}

void LibusbContext::timeoutsChanged() {
    timeval time{};
    // Where libusb has a descriptor for its time-outs, it reports none here.
    if (libusb_get_next_timeout(context_, &time) == 1)
        timeouts_.start(std::chrono::milliseconds(time.tv_sec * 1000 + time.tv_usec / 1000 + 1),
                        [this] { work({}); });
    else
        timeouts_.stop();
}

}  // namespace zlk::usbscan
