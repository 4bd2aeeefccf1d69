#pragma once
// A file as the device has it now.

#include <cstdint>
#include <string_view>

#include "platform/named_objects.h"
#include "tools/zlkcam/Documents.h"

namespace zlk {

/// The components' sizes have 32 bits, and a camera says "more than that" with all of them set.
inline constexpr std::uint64_t largestSize = 0xFFFFFFFF;

/// Whether a file lies on a volume: its id is a path then, which the platform can be asked about.
bool isOnVolume(const FileRecord& record);

/// To be read by its path; empty with the last error.
UniqueHandle openToRead(const FileRecord& record);

/// Of nothing that a camera says it has, it delivers nothing to compare.
inline bool isDelivered(const FileRecord& record, std::uint64_t size) {
    return size > 0 || isOnVolume(record);
}

/// What it is like now: true size, and time of its last change.
struct SourceState {
    std::uint64_t size = 0;
    std::int64_t modified = -1;  ///< seconds since 1970 UTC; -1: it doesn't say

    /// Throws Failure (ReadFailed) for one on a volume that isn't there any more.
    static SourceState of(const FileRecord& record);
    bool operator==(const SourceState&) const = default;
};

/// Whether two times, in seconds, can be of one file: a card's clock has steps of two.
inline bool isSameTime(std::int64_t a, std::int64_t b) {
    return a - b <= 2 && b - a <= 2;
}

/// One that is open, if it lies on a volume: its path is walked once, and what becomes of it
/// meanwhile is seen.
class SourceFile {
  public:
    /// Throws Failure (ReadFailed) where it can't be opened, but for a file that somebody else has
    /// open, who may close it within the device's patience.
    explicit SourceFile(const FileRecord& record);

    /// Throws Failure (ReadFailed).
    SourceState state() const;
    /// Has the system read the first bytes meanwhile, as far as it can.
    void readAhead() const;
    /// Has the system forget what it knows of the contents, as far as it does.
    void forgetContents() const;

  private:
    const FileRecord& record_;
    UniqueHandle handle_;  // keeps others from writing to it
    int file_ = -1;        // the handle's; -1 on a camera
};

/// The path of a file below the device's root, for naming its copy.
std::u16string pathBelow(std::u16string_view root, const FileRecord& record);

}  // namespace zlk
