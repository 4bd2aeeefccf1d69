#pragma once
// The sources from which a picture's bytes are read once, from front to back.

#include <algorithm>
#include <span>
#include <vector>

#include "platform/files.h"
#include "platform/named_objects.h"

namespace zlk {

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// Reads up to `room.size()` bytes and returns their number; 0 at the end, and after a failure.
    virtual std::size_t read(std::span<BYTE> room) noexcept = 0;
};

class MemorySource final : public ByteSource {
  public:
    /// The bytes are borrowed and must outlive the source.
    explicit MemorySource(std::span<const BYTE> bytes) : rest_(bytes) {}
    std::size_t read(std::span<BYTE> room) noexcept override {
        const std::size_t count = std::min(room.size(), rest_.size());
        std::copy_n(rest_.begin(), count, room.begin());
        rest_ = rest_.subspan(count);
        return count;
    }

  private:
    std::span<const BYTE> rest_;
};

/// A file whose first bytes can be looked at before it is read.
class FileSource final : public ByteSource {
  public:
    /// Opens the file and reads its first bytes. A failure is in error().
    explicit FileSource(const WCHAR* path);

    /// ERROR_SUCCESS, or the last error of opening or reading the file.
    DWORD error() const { return error_; }
    /// The first 128 KiB, or the whole file if it is smaller; empty if they couldn't be read. Valid
    /// as long as the source.
    std::span<const BYTE> head() const { return head_; }
    std::size_t read(std::span<BYTE> room) noexcept override;

  private:
    std::size_t readFile(std::span<BYTE> room) noexcept;

    UniqueHandle file_;
    DWORD error_ = ERROR_SUCCESS;
    std::vector<BYTE> head_;
    MemorySource headRest_{{}};  // the part of `head_` that read() hasn't returned yet
};

}  // namespace zlk
