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
// Whoever writes hears of it all the same: a closed output, a file larger than is allowed.
constexpr int failedWrites[] = {SIGPIPE, SIGXFSZ};

using Clock = std::chrono::steady_clock;
// A call that ends by itself is given that long; a user waits a second at most.
constexpr std::chrono::milliseconds patience{500}, lookPause{50};

volatile sig_atomic_t signalCount = 0;

std::mutex callInUse;  // held for good by whoever ends the program inside of the call
std::optional<Clock::time_point> callSince;

void countSignal(int) {
    signalCount = signalCount + 1;
    if (signalCount >= 3) std::_Exit(static_cast<int>(ExitStatus::Stopped));
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;  // the components' own calls needn't know of it
    sigaction(signal, &action, nullptr);
}

}  // namespace

StopFlag::StopFlag() {
    signalCount = 0;
    for (const int signal : stopSignals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        // Somebody who started this with a signal ignored (nohup) meant it.
        if (before.sa_handler != SIG_IGN) handle(signal, countSignal);
    }
    for (const int signal : failedWrites) handle(signal, SIG_IGN);
}

StopFlag::~StopFlag() {
    for (const int signal : stopSignals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
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
        if (callSince && Clock::now() - std::max(*callSince, *raisedSince) >= patience)
            std::_Exit(static_cast<int>(end_()));
    }
}

}  // namespace zlk
