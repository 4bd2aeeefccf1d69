#pragma once
// File sinks: paths that CreateFileW opens for writing. What is written there goes to an object of
// the caller as it comes. A client passes such a path to a component that can only save to a path.
// So the client can make several copies and a checksum of a picture in one go, with no temporary
// file in between.

#include <cstddef>
#include <span>
#include <string>

#pragma GCC visibility push(default)

/// Receives what is written to a sink's path; implemented by the caller.
class FileSink {
  public:
    virtual ~FileSink() = default;
    /// Takes the next bytes, on whichever thread writes them, one call at a time; `bytes` is
    /// borrowed. If it returns false or throws, that write fails with ERROR_DISK_FULL.
    virtual bool take(std::span<const std::byte> bytes) = 0;
};

/// Makes a path that CreateFileW opens for writing, in this process and for the life of this
/// object. GetFileSizeEx gives the number of bytes written to its handle. Writes to a handle that
/// outlives this object fail with ERROR_INVALID_HANDLE. `sink` stays the caller's and must outlive
/// this object. Any thread may make or end a SinkFile; ending it waits for a write under way.
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
