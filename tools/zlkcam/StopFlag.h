#pragma once
// The wish of the user, or of the system, that the program ends: Ctrl-C, a request to terminate,
// a closed terminal.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// While one lives, those signals only raise the flag, so that work in hand can be put in order;
/// the third one ends the program at once. A closed output, or a file that may grow no further,
/// raises nothing: the write fails. One in a program.
class StopFlag {
  public:
    StopFlag();
    ~StopFlag();
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;

    static bool raised() noexcept;
};

/// What a command ends with that was stopped before it had come to anything.
Failure stoppedEarly();

/// Marks a call that may wait long for a device, and that can't be stopped from outside.
class DeviceCall {
  public:
    DeviceCall();
    ~DeviceCall();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;
};

/// While one lives, a DeviceCall that goes on for half a second after the flag was raised ends the
/// program: a camera may be silent for longer than anybody waits. `end` puts everything in order
/// and gives the exit status. It runs on a thread of its own, and the one that is in the call
/// can't leave it any more, so that whatever belongs to that one may be used, but for the device.
class StopWatch {
  public:
    explicit StopWatch(std::function<ExitStatus()> end);
    ~StopWatch();
    StopWatch(const StopWatch&) = delete;
    StopWatch& operator=(const StopWatch&) = delete;

  private:
    void watch();

    const std::function<ExitStatus()> end_;
    std::mutex inUse_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

}  // namespace zlk
