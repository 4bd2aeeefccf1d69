#pragma once
// An event loop: waits for descriptors and deadlines, and calls the functions that were registered
// for them.

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

/// For a single thread. Registered functions are called from run(), never from inside the call that
/// registered them.
class EventLoop {
  public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void()>;
    using Ready = std::function<void(short happened)>;

    EventLoop() = default;
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Calls `ready` whenever one of `events` (POLLIN, POLLOUT) has happened on the descriptor,
    /// which stays the caller's. Errors and hang-ups are reported in any case. Watching a
    /// descriptor again replaces its events and function.
    void watch(int fd, short events, Ready ready);
    /// Changes the events alone. Does nothing for a descriptor that isn't watched.
    void expect(int fd, short events);
    /// Stops watching. A descriptor must be forgotten before it is closed.
    void forget(int fd);

    /// Calls `task` once. A task that hasn't been called when the loop is stopped may be lost.
    /// Tasks run in the order of their posting.
    void post(Task task);

    /// Number of a deadline; 0 is none.
    using TimerId = std::uint64_t;
    /// Calls `task` once, when the delay is over.
    TimerId after(std::chrono::milliseconds delay, Task task);
    /// Does nothing for 0, or if the task has been called already.
    void cancel(TimerId timer);

    /// Runs until stop(), and may be called again afterwards. Throws std::system_error if poll()
    /// fails, and whatever a function throws.
    void run();
    void stop() noexcept { running_ = false; }

  private:
    struct Watch {
        short events;
        std::shared_ptr<Ready> ready;  // shared, so that a function may forget its own watch
    };
    void runTasks();
    void runTimers();
    int millisecondsToNextTimer() const;

    bool running_ = true;
    std::map<int, Watch> watches_;
    std::vector<pollfd> polled_;  // what poll() gets, built from `watches_`
    bool polledIsOld_ = true;
    std::deque<Task> tasks_;
    // The id keeps deadlines at the same time apart.
    using Deadline = std::pair<Clock::time_point, TimerId>;
    std::map<Deadline, Task> timers_;
    std::map<TimerId, Clock::time_point> deadlines_;  // when each timer is due
    TimerId lastTimer_ = 0;
};

/// A member of an object that posts tasks: tasks that it has guarded do nothing once the object is
/// destroyed.
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

/// A deadline that is cancelled when the timer is destroyed.
class Timer {
  public:
    explicit Timer(EventLoop& loop) noexcept : loop_(loop) {}
    ~Timer() { stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

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
