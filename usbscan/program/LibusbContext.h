#pragma once
// Runs libusb inside of an event loop: the loop watches libusb's descriptors and time-outs, and
// calls libusb when there is something to do.

#include <libusb.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

/// Thrown for a call of libusb that failed.
class LibusbError : public std::runtime_error {
  public:
    LibusbError(const char* what, int code);
    int code() const noexcept { return code_; }  ///< a libusb_error

  private:
    int code_;
};

/// How long the kernel may take to return a transfer that was cancelled.
inline constexpr std::chrono::milliseconds patienceWithCancelling{2000};

/// Throws LibusbError if `result` is an error; returns it otherwise.
int checked(const char* what, int result);

class LibusbContext {
  public:
    /// `loop` must outlive the context. Throws LibusbError.
    explicit LibusbContext(EventLoop& loop);
    ~LibusbContext();
    LibusbContext(const LibusbContext&) = delete;
    LibusbContext& operator=(const LibusbContext&) = delete;

    libusb_context* get() const noexcept { return context_; }

    /// Calls `task` from the loop, unless the context is gone by then.
    void post(EventLoop::Task task);
    /// To be called after a transfer with a time-out has been submitted.
    void timeoutsChanged();
    /// Blocks and handles libusb's events until `done` returns true. False if it doesn't within
    /// this time. The event loop doesn't run meanwhile.
    bool workUntil(const std::function<bool()>& done, std::chrono::milliseconds atMost);

  private:
    void watch(int fd, short events);
    void work(std::chrono::milliseconds atMost);

    EventLoop& loop_;
    Timer timeouts_;  // for kernels where libusb has no descriptor for its time-outs
    libusb_context* context_ = nullptr;
    std::shared_ptr<const bool> alive_ = std::make_shared<bool>(true);  // expires with this object
};

}  // namespace zlk::usbscan
