#pragma once
// A file that a thread of its own writes, so that a slow or full disk never delays the threads that
// have something to write.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/descriptor.h"

namespace zlk::usbscan {

/// May be used by several threads.
class RecordingFile {
  public:
    /// Takes ownership of the file, and starts the thread. Throws std::system_error if it can't be
    /// started.
    explicit RecordingFile(Descriptor file);
    /// Doesn't wait: what was appended is still written, as long as the process lives.
    ~RecordingFile() { finish(); }
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;

    /// Queues the bytes to be written. False after finish(), after a failed write, and if too much
    /// waits to be written already; error() has the reason of a failure.
    bool append(std::string bytes);
    /// Whether so much waits to be written that callers should leave out what they can.
    bool isBehind() const;

    /// Ends the file once all that was appended is written.
    void finish();
    /// Whether everything is written, or never will be.
    bool isOver() const;
    /// Blocks until isOver(). False if it isn't within this time.
    bool waitUntilOver(std::chrono::milliseconds atMost) const;
    /// Why part of the file isn't written: ERROR_DISK_FULL, ERROR_SEM_TIMEOUT (the disk is too
    /// slow), ERROR_IO_DEVICE; or 0.
    std::uint32_t error() const;

  private:
    struct Queue;
    static void write(Queue& queue);

    std::shared_ptr<Queue> queue_;  // shared with the thread, which may be stuck in a write
};

}  // namespace zlk::usbscan
