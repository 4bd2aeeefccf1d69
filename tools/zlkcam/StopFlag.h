#pragma once
// Notices that the user or the system wants the program to end, for instance by Ctrl-C or because
// the terminal was closed.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// While one exists, SIGINT, SIGTERM, SIGHUP and SIGQUIT only set a flag, so that the work in hand
/// can be put in order; the third such signal ends the program at once. A signal that is already
/// ignored, as by nohup, stays ignored. SIGPIPE and SIGXFSZ are ignored, as the write itself fails.
/// Only one StopFlag may exist at a time.
class StopFlag {
  public:
    StopFlag();
    ~StopFlag();
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;

    /// Whether a stop is wished. May be called from any thread.
    static bool raised() noexcept;
};

/// The failure of a command that was stopped.
Failure stoppedEarly();

/// Marks a call that may wait long, mostly for a device or a disk, and can't be stopped from
/// outside. Only one DeviceCall may exist at a time.
class DeviceCall {
  public:
    DeviceCall();
    ~DeviceCall();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;
};

/// While one exists, a stop doesn't wait long for a DeviceCall to end. Once a DeviceCall has gone
/// on for half a second since the stop, or since its own start if that is later, `end` is called on
/// the watch's thread. `end` puts everything in order and returns the exit status, with which the
/// program then ends. The thread in the DeviceCall can't leave the call meanwhile. So `end` may use
/// what that thread owns, except the device and what callbacks change during the call.
class StopWatch {
  public:
    explicit StopWatch(std::function<ExitStatus()> end);
    ~StopWatch();
    StopWatch(const StopWatch&) = delete;
    StopWatch& operator=(const StopWatch&) = delete;

  private:
    void watch();

    // Called at most once; the program ends after it.
    const std::function<ExitStatus()> end_;
    // Guards `isOver_`, which the destructor sets.
    std::mutex inUse_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

}  // namespace zlk
