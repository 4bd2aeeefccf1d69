#pragma once
// A loop that a test runs from one condition to the next.

#include <chrono>
#include <functional>

#include "usbscan/host/EventLoop.h"

namespace zlk::test {

class SteppedLoop : public usbscan::EventLoop {
  public:
    /// Whether it came to that, in a time in which everything does.
    bool until(const std::function<bool()>& condition) {
        const auto end = Clock::now() + std::chrono::seconds(60);
        const std::function<void()> look = [&] {
            if (condition() || Clock::now() > end) return stop();
            after(std::chrono::milliseconds(1), look);
        };
        post(look);
        run();
        return condition();
    }
    /// Whatever is under way has had its turn.
    void settle() {
        int rounds = 0;
        until([&] { return ++rounds >= 20; });
    }
};

}  // namespace zlk::test
