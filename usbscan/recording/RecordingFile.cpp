#include "usbscan/recording/RecordingFile.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "platform/error.h"

namespace zlk::usbscan {
namespace {

// Bytes that may wait in memory; with more, the recording ends. Above muchQueued the contents of
// files are left out.
constexpr std::size_t mostQueued = 32 << 20, muchQueued = mostQueued / 4 * 3;

/// Blocks all signals while the thread is started, so that they stay blocked in it. Other threads
/// handle the process's signals, and a file that exceeds the limit of its size makes write() fail
/// and doesn't end the process with SIGXFSZ.
class WithoutSignals {
  public:
    WithoutSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~WithoutSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;

  private:
    sigset_t before_;
};

std::uint32_t errorOfWriting(int error) {
    const bool isFull = error == ENOSPC || error == EDQUOT || error == EFBIG;
    return isFull ? ERROR_DISK_FULL : ERROR_IO_DEVICE;
}

/// 0 or an errno.
int writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return errno;
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

}  // namespace

/// What the thread and its callers share; everything but `file` is guarded by `lock`.
struct RecordingFile::Queue {
    Descriptor file;
    mutable std::mutex lock;
    mutable std::condition_variable changed;
    std::deque<std::string> waiting;
    std::size_t size = 0;               // bytes that wait or are being written
    bool ending = false, over = false;  // no more will come; the thread has ended
    std::uint32_t error = ERROR_SUCCESS;
};

RecordingFile::RecordingFile(Descriptor file) : queue_(std::make_shared<Queue>()) {
    queue_->file = std::move(file);
    const WithoutSignals inherited;
    std::thread([queue = queue_] { write(*queue); }).detach();
}

void RecordingFile::write(Queue& queue) {
    std::unique_lock lock(queue.lock);
    for (;;) {
        queue.changed.wait(lock, [&] { return queue.ending || !queue.waiting.empty(); });
        if (queue.waiting.empty() || queue.error != ERROR_SUCCESS) break;
        const std::string bytes = std::move(queue.waiting.front());
        queue.waiting.pop_front();
        // The lock isn't held during the write, which may take any time.
        lock.unlock();
        const int error = writeAll(queue.file.get(), bytes);
        lock.lock();
        queue.size -= bytes.size();
        if (error != 0) queue.error = errorOfWriting(error);
    }
    queue.waiting.clear();
    queue.over = true;
    queue.changed.notify_all();
}

bool RecordingFile::append(std::string bytes) {
    const std::lock_guard lock(queue_->lock);
    if (queue_->ending || queue_->error != ERROR_SUCCESS) return false;
    // With so much waiting, the disk is hopelessly slow. The recording ends here, so that it
    // doesn't use more and more memory.
    if (queue_->size + bytes.size() > mostQueued) {
        queue_->error = ERROR_SEM_TIMEOUT;
        queue_->changed.notify_all();
        return false;
    }
    queue_->size += bytes.size();
    queue_->waiting.push_back(std::move(bytes));
    queue_->changed.notify_all();
    return true;
}

bool RecordingFile::isBehind() const {
    const std::lock_guard lock(queue_->lock);
    return queue_->size > muchQueued;
}

void RecordingFile::finish() {
    const std::lock_guard lock(queue_->lock);
    queue_->ending = true;
    queue_->changed.notify_all();
}

bool RecordingFile::isOver() const {
    return waitUntilOver(std::chrono::milliseconds(0));
}

bool RecordingFile::waitUntilOver(std::chrono::milliseconds atMost) const {
    std::unique_lock lock(queue_->lock);
    return queue_->changed.wait_for(lock, atMost, [&] { return queue_->over; });
}

std::uint32_t RecordingFile::error() const {
    const std::lock_guard lock(queue_->lock);
    return queue_->error;
}

}  // namespace zlk::usbscan
