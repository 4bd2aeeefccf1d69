#include "tools/zlkcam/StopFlag.h"

#include <signal.h>

#include <cstdlib>

#include "tools/zlkcam/ExitStatus.h"

namespace zlk {
namespace {

constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
// Whoever writes hears of it all the same: a closed output, a file larger than is allowed.
constexpr int failedWrites[] = {SIGPIPE, SIGXFSZ};

volatile sig_atomic_t signalCount = 0;

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

}  // namespace zlk
