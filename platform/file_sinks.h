#pragma once
// Files that are none. What is written to such a name is handed on as it comes, so that bytes which
// a component saves to a path reach several files and a sum in one go, with no file in between.

#include <cstddef>
#include <span>
#include <string>

#pragma GCC visibility push(default)

class FileSink {
  public:
    virtual ~FileSink() = default;
    /// Takes the next bytes, from whichever thread writes them, one call at a time. False fails
    /// that write with ERROR_DISK_FULL. What it throws counts as false.
    virtual bool take(std::span<const std::byte> bytes) = 0;
};

/// A path that CreateFileW opens for writing, in this process and while this lives; GetFileSizeEx
/// gives what was written to that handle. A handle that outlives this fails with
/// ERROR_INVALID_HANDLE. `sink` stays the caller's and has to outlive this.
class SinkFile {
  public:
    explicit SinkFile(FileSink& sink);
    ~SinkFile();
    SinkFile(const SinkFile&) = delete;
    SinkFile& operator=(const SinkFile&) = delete;

    const std::u16string& path() const noexcept { return path_; }

  private:
    std::u16string path_;
};

#pragma GCC visibility pop
