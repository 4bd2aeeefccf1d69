#include "usbscan/host/EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace zlk::usbscan {

void EventLoop::watch(int fd, short events, Ready ready) {
    watches_[fd] = {events, std::make_shared<Ready>(std::move(ready))};
    polledIsOld_ = true;
}

void EventLoop::expect(int fd, short events) {
    const auto found = watches_.find(fd);
    if (found == watches_.end() || found->second.events == events) return;
    found->second.events = events;
    polledIsOld_ = true;
}

void EventLoop::forget(int fd) {
    if (watches_.erase(fd)) polledIsOld_ = true;
}

void EventLoop::post(Task task) {
    tasks_.push_back(std::move(task));
}

EventLoop::TimerId EventLoop::after(std::chrono::milliseconds delay, Task task) {
    const Clock::time_point when = Clock::now() + delay;
    const TimerId id = ++lastTimer_;
    timers_.emplace(Deadline(when, id), std::move(task));
    deadlines_.emplace(id, when);
    return id;
}

void EventLoop::cancel(TimerId timer) {
    const auto found = deadlines_.find(timer);
    if (found == deadlines_.end()) return;
    timers_.erase({found->second, timer});
    deadlines_.erase(found);
}

void EventLoop::runTasks() {
    // Tasks may post tasks. After some rounds the descriptors get their turn, so that none is
    // starved.
    constexpr int mostRounds = 8;
    for (int round = 0; round < mostRounds && running_ && !tasks_.empty(); ++round) {
        std::deque<Task> tasks;
        tasks.swap(tasks_);
        for (Task& task : tasks)
            if (running_) task();
    }
}

void EventLoop::runTimers() {
    while (running_ && !timers_.empty() && timers_.begin()->first.first <= Clock::now()) {
        const Task task = std::move(timers_.begin()->second);
        deadlines_.erase(timers_.begin()->first.second);
        timers_.erase(timers_.begin());
        task();
    }
}

int EventLoop::millisecondsToNextTimer() const {
    if (!tasks_.empty()) return 0;
    if (timers_.empty()) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

void EventLoop::run() {
    running_ = true;
    while (running_) {
        runTasks();
        if (!running_) break;
        if (polledIsOld_) {
            polled_.clear();
            for (const auto& [fd, watch] : watches_) polled_.push_back({fd, watch.events, 0});
            polledIsOld_ = false;
        }
        if (::poll(polled_.data(), polled_.size(), millisecondsToNextTimer()) < 0) {
            if (errno == EINTR) continue;
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        const std::vector<pollfd> happened = polled_;
        for (const pollfd& entry : happened) {
            if (!entry.revents || !running_) continue;
            // A function that was called before may have forgotten this descriptor.
            const auto found = watches_.find(entry.fd);
            if (found == watches_.end()) continue;
            const std::shared_ptr<Ready> ready = found->second.ready;
            (*ready)(entry.revents);
        }
        // Timers run last, so that an answer that has just come can stop its deadline, even if this
        // process woke up too late.
        runTimers();
    }
}

}  // namespace zlk::usbscan
