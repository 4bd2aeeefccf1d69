#pragma once
// A file that a thread of its own writes: a disk that is slow or full never keeps up those who
// have something to write.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/descriptor.h"

namespace zlk::usbscan {

class RecordingFile {
  public:
    /// Throws std::system_error where there can be no thread.
    explicit RecordingFile(Descriptor file);
    /// What was taken is written all the same, as long as the process lives.
    ~RecordingFile() { finish(); }
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;

    /// Takes the bytes, which are written later. False: writing is over, with error().
    bool append(std::string bytes);
    /// Much waits to be written: what can be spared should be.
    bool isBehind() const;

    /// Nothing more will come.
    void finish();
    /// Everything is written, or never will be.
    bool isOver() const;
    /// False if the time is up before.
    bool waitUntilOver(std::chrono::milliseconds atMost) const;
    /// Why something isn't written: ERROR_DISK_FULL, ERROR_SEM_TIMEOUT (the disk is too slow),
    /// ERROR_IO_DEVICE; or 0.
    std::uint32_t error() const;

  private:
    struct Queue;
    static void write(Queue& queue);

    std::shared_ptr<Queue> queue_;  // the thread's too, who may be stuck in a disk
};

}  // namespace zlk::usbscan
