#pragma once
// Notices that the user or the system wants the program to end: Ctrl-C, a request to terminate, a
// closed terminal.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// As long as one lives, those signals only raise a flag, so that the work in hand can be put in
/// order. The third signal ends the program at once. A closed output, or a file beyond the allowed
/// size, raises nothing, as the write itself fails. There may be only one in a program.
class StopFlag {
  public:
    StopFlag();
    ~StopFlag();
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;

    /// Whether a stop is wished. May be called from any thread.
    static bool raised() noexcept;
};

/// The failure of a command that was stopped before it had any result.
Failure stoppedEarly();

/// Marks a call that may wait long for a device and can't be stopped from outside. One thread at a
/// time may be in such a call.
class DeviceCall {
  public:
    DeviceCall();
    ~DeviceCall();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;
};

/// As long as one lives, a DeviceCall that goes on for half a second after a stop was wished ends
/// the program, because a camera may be silent for longer than anybody wants to wait. `end` then
/// puts everything in order and returns the exit status. It runs on a thread of its own. The thread
/// in the call can't return from it any more, so that `end` may use everything that belongs to that
/// thread, except the device.
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
