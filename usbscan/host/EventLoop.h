#pragma once
// One thread that waits for descriptors and deadlines and calls whoever asked for them.

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace zlk::usbscan {

/// Not for several threads. Everything is called from run(), never from inside the call that
/// asked for it.
class EventLoop {
  public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void()>;
    using Ready = std::function<void(short happened)>;

    EventLoop() = default;
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Calls `ready` whenever one of `events` (POLLIN, POLLOUT; errors always) has happened on the
    /// descriptor, which stays its caller's. Watching it once more replaces what was asked.
    void watch(int fd, short events, Ready ready);
    /// Changes the events alone; of an fd that isn't watched nothing.
    void expect(int fd, short events);
    void forget(int fd);

    /// Calls `task` once, before the next wait; tasks run in the order of their posting.
    void post(Task task);

    /// Number of a deadline; 0 is none.
    using TimerId = std::uint64_t;
    TimerId after(std::chrono::milliseconds delay, Task task);
    /// Harmless for one that has been called, or 0.
    void cancel(TimerId timer);

    /// Until stop(); may be run again behind it.
    void run();
    void stop() noexcept { running_ = false; }

  private:
    struct Watch {
        short events;
        std::shared_ptr<Ready> ready;
    };
    void runTasks();
    void runTimers();
    int millisecondsToNextTimer() const;

    bool running_ = true;
    std::map<int, Watch> watches_;
    std::vector<pollfd> polled_;
    bool polledIsOld_ = true;
    std::deque<Task> tasks_;
    using Deadline = std::pair<Clock::time_point, TimerId>;
    std::map<Deadline, Task> timers_;
    std::map<TimerId, Clock::time_point> deadlines_;
    TimerId lastTimer_ = 0;
};

/// Lets what was posted by an object do nothing once the object is gone.
class Lifetime {
  public:
    Lifetime() = default;
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    template <class Body>
    EventLoop::Task guard(Body task) const {
        return [alive = std::weak_ptr<const void>(token_), task = std::move(task)]() mutable {
            if (!alive.expired()) task();
        };
    }

  private:
    const std::shared_ptr<const void> token_ = std::make_shared<char>();
};

/// A deadline that goes with its owner.
class Timer {
  public:
    explicit Timer(EventLoop& loop) noexcept : loop_(loop) {}
    ~Timer() { stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Starts anew if it was running.
    void start(std::chrono::milliseconds delay, EventLoop::Task task) {
        stop();
        id_ = loop_.after(delay, [this, task = std::move(task)] {
            id_ = 0;
            task();
        });
    }
    void stop() {
        loop_.cancel(id_);
        id_ = 0;
    }
    bool running() const noexcept { return id_ != 0; }

  private:
    EventLoop& loop_;
    EventLoop::TimerId id_ = 0;
};

}  // namespace zlk::usbscan
