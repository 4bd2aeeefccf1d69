#pragma once
// libusb inside of an event loop: its descriptors are watched there, and what it has to do is done
// whenever they are ready.

#include <libusb.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

/// A call of libusb that failed.
class LibusbError : public std::runtime_error {
  public:
    LibusbError(const char* what, int code);
    int code() const noexcept { return code_; }  ///< a libusb_error

  private:
    int code_;
};

/// How long the kernel may take to give back a transfer that was cancelled.
inline constexpr std::chrono::milliseconds patienceWithCancelling{2000};

/// Throws a LibusbError if `result` is one; else gives it back.
int checked(const char* what, int result);

class LibusbContext {
  public:
    /// Throws LibusbError.
    explicit LibusbContext(EventLoop& loop);
    ~LibusbContext();
    LibusbContext(const LibusbContext&) = delete;
    LibusbContext& operator=(const LibusbContext&) = delete;

    libusb_context* get() const noexcept { return context_; }

    /// Calls `task` from the loop, unless the context is gone by then.
    void post(EventLoop::Task task);
    /// To be called behind the submission of a transfer with a timeout.
    void timeoutsChanged();
    /// Blocks and works until `done`, or until the time is up: false then.
    bool workUntil(const std::function<bool()>& done, std::chrono::milliseconds atMost);

  private:
    void watch(int fd, short events);
    void work(std::chrono::milliseconds atMost);

    EventLoop& loop_;
    Timer timeouts_;
    libusb_context* context_ = nullptr;
    std::shared_ptr<const bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace zlk::usbscan
