#pragma once
// Where a picture's bytes come from: read once, from front to back.

#include <algorithm>
#include <span>
#include <vector>

#include "platform/files.h"
#include "platform/named_objects.h"

namespace zlk {

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// Fills `room` as far as there is something; 0 at the end, and after a failure.
    virtual std::size_t read(std::span<BYTE> room) noexcept = 0;
};

class MemorySource final : public ByteSource {
  public:
    /// The bytes must stay as long as the source.
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

/// A file, whose first bytes can be looked at before it is read.
class FileSource final : public ByteSource {
  public:
    explicit FileSource(const WCHAR* path);

    /// ERROR_SUCCESS, or why the file couldn't be opened or read.
    DWORD error() const { return error_; }
    /// Some 100 KB from the front, or the whole file.
    std::span<const BYTE> head() const { return head_; }
    std::size_t read(std::span<BYTE> room) noexcept override;

  private:
    std::size_t readFile(std::span<BYTE> room) noexcept;

    UniqueHandle file_;
    DWORD error_ = ERROR_SUCCESS;
    std::vector<BYTE> head_;
    MemorySource headRest_{{}};
};

}  // namespace zlk
