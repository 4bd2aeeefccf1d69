#include "tools/zlkcam/StopFlag.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <utility>

namespace zlk {
namespace {

constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
// These signals are sent for a write to a closed pipe or beyond the allowed size of a file. The
// write also returns an error, which is handled where it happens.
constexpr int failedWrites[] = {SIGPIPE, SIGXFSZ};

using Clock = std::chrono::steady_clock;
// A call that ends by itself within `patience` is left to end. A stop is looked for every
// `lookPause`.
constexpr std::chrono::milliseconds patience{500}, lookPause{50};

/// Written by the signal handler, so it has to be of this type.
volatile sig_atomic_t signalCount = 0;

/// Guards `callSince`. StopWatch locks it for good when it ends the program, so that the call can't
/// return meanwhile.
std::mutex callInUse;
/// When the DeviceCall in progress began; none if there is no such call.
std::optional<Clock::time_point> callSince;

/// The handler. Only async-signal-safe functions may be called in it, and _Exit is one.
void countSignal(int) {
    signalCount = signalCount + 1;
    if (signalCount >= 3) std::_Exit(static_cast<int>(ExitStatus::Stopped));
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;  // interrupted system calls go on by themselves
    sigaction(signal, &action, nullptr);
}

}  // namespace

StopFlag::StopFlag() {
    signalCount = 0;
    for (const int signal : stopSignals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) handle(signal, countSignal);
    }
    for (const int signal : failedWrites) handle(signal, SIG_IGN);
}

StopFlag::~StopFlag() {
    for (const int signal : stopSignals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        // A signal that was ignored before stays so.
        if (before.sa_handler == countSignal) handle(signal, SIG_DFL);
    }
    for (const int signal : failedWrites) handle(signal, SIG_DFL);
}

bool StopFlag::raised() noexcept {
    return signalCount != 0;
}

Failure stoppedEarly() {
    return {ExitStatus::Stopped, "Stopped."};
}

DeviceCall::DeviceCall() {
    const std::lock_guard lock(callInUse);
    callSince = Clock::now();
}

DeviceCall::~DeviceCall() {
    const std::lock_guard lock(callInUse);
    callSince.reset();
}

StopWatch::StopWatch(std::function<ExitStatus()> end)
    : end_(std::move(end)), thread_([this] { watch(); }) {}

StopWatch::~StopWatch() {
    {
        const std::lock_guard lock(inUse_);
        isOver_ = true;
    }
    over_.notify_one();
    thread_.join();
}

void StopWatch::watch() {
    std::optional<Clock::time_point> raisedSince;
    for (std::unique_lock lock(inUse_);
         !over_.wait_for(lock, lookPause, [this] { return isOver_; });) {
        if (!StopFlag::raised()) continue;
        if (!raisedSince) raisedSince = Clock::now();
        const std::lock_guard inCall(callInUse);
        // The call may have begun before the stop or after it; the later of the two starts the
        // patience.
        if (callSince && Clock::now() - std::max(*callSince, *raisedSince) >= patience)
            std::_Exit(static_cast<int>(end_()));
    }
}

}  // namespace zlk
