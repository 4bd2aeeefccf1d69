#pragma once
// A file of the device as it is at this moment, whatever the device's list says. Of a camera only
// the list is known.

#include <cstdint>
#include <string_view>

#include "platform/named_objects.h"
#include "tools/zlkcam/Documents.h"

namespace zlk {

/// The largest size that a component can express, in 32 bits. A camera reports a larger file with
/// this number, too.
inline constexpr std::uint64_t largestSize = 0xFFFFFFFF;

/// Whether a file lies on a volume. Its id is a path then, which the platform can open.
bool isOnVolume(const FileRecord& record);

/// Opens a file of a volume for reading by its path; empty with the last error if that fails.
UniqueHandle openToRead(const FileRecord& record);

/// Whether reading the file really gives something to compare. An empty file on a camera could also
/// be one that it doesn't want to give.
inline bool isDelivered(const FileRecord& record, std::uint64_t size) {
    return size > 0 || isOnVolume(record);
}

/// The size of a file, and the time of its last change.
struct SourceState {
    std::uint64_t size = 0;
    std::int64_t modified = -1;  ///< seconds since 1970 UTC; -1: not known

    /// Asks the volume, or takes the list's values for a camera. Throws Failure (ReadFailed) if the
    /// file on the volume can't be looked at any more.
    static SourceState of(const FileRecord& record);
    bool operator==(const SourceState&) const = default;
};

/// Whether two times in seconds can be of the same file: FAT stores times in steps of two seconds.
inline bool isSameTime(std::int64_t a, std::int64_t b) {
    return a - b <= 2 && b - a <= 2;
}

/// A file of the device, whose state can be asked for before and after a copy. On a volume it is
/// held open if possible, so that the states before and after are of one file. On a camera the
/// state is always that of the list.
class SourceFile {
  public:
    /// Throws Failure (ReadFailed) if the file can't be opened, except for ERROR_SHARING_VIOLATION:
    /// the program that has the file open may close it while the component still waits. Keeps a
    /// reference to `record`.
    explicit SourceFile(const FileRecord& record);

    /// The file's state now. Throws Failure (ReadFailed).
    SourceState state() const;
    /// Asks the system to read the first 16 MiB into its cache in the background. No effect if
    /// the file isn't held open, as on a camera.
    void readAhead() const;
    /// Asks the system to drop the file from its cache, so that the next reading comes from the
    /// medium. No effect if the file isn't held open.
    void forgetContents() const;

  private:
    const FileRecord& record_;
    UniqueHandle handle_;  // null if the file isn't held open
    int file_ = -1;        // the handle's; -1 without a handle
};

/// The path of a file below the device's root, from which the name of its copy is made. If the id
/// isn't below `root`, the path in the device's list is returned.
std::u16string pathBelow(std::u16string_view root, const FileRecord& record);

}  // namespace zlk
