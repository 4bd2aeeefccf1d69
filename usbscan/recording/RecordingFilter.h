#pragma once
// Decides what of a camera's bulk transfers goes into a recording: commands, responses, and data
// that describes the camera or its files. Of all other containers only the header and the length
// are recorded, unless the contents of files were asked for and the disk keeps up. An anonymous
// recording has only a few of the camera's properties.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "usbscan/recording/Blackout.h"

namespace zlk::usbscan {

struct RecordingOptions {
    bool payloads = false;   ///< the contents of files are recorded too
    bool anonymous = false;  ///< serial number, names and the owner's texts are hidden
};

class RecordingFilter {
  public:
    enum class Direction { ToDevice, ToHost };

    /// A part of a transfer, of one container and at most 128 KiB.
    struct Part {
        std::vector<std::byte> kept;  ///< the beginning of its bytes, possibly blacked out
        std::size_t length = 0;       ///< bytes, including those that are left out
        bool beginsContainer = false;
    };

    explicit RecordingFilter(const RecordingOptions& options) : options_(options) {}

    /// Splits the next bytes of a transfer. `isLight`: the contents of files are left out even if
    /// they were asked for, since the disk is behind.
    std::vector<Part> split(Direction direction, std::span<const std::byte> bytes,
                            bool endsTransfer, bool isLight);
    /// To be called when a transaction is broken off: no container under way will be completed.
    void breakOff() { toDevice_ = toHost_ = {}; }

  private:
    static constexpr std::size_t headSize = 12;
    /// The container under way in one direction.
    struct Stream {
        std::array<std::byte, headSize> head{};
        std::size_t headLength = 0;  // bytes of the head that have come
        std::uint64_t left = 0;      // bytes to come after the head
        bool isContent = true;       // false: a message, or data that describes() accepts
        Blackout blackout;           // hides what has to be hidden in the payload
    };
    /// Copies from the front of `bytes` what the stream's head still lacks, and returns how many
    /// bytes that is. Calls judge() once the head is complete.
    std::size_t takeHead(Stream& stream, std::span<const std::byte> bytes);
    /// Decides from the container's head and the last command whether the payload is content.
    void judge(Stream& stream);
    /// Whether an operation's data describes the camera or its files, and may be recorded.
    bool describes(std::uint16_t operation, std::uint32_t parameter) const;
    /// Remembers the operation, by which the data that follows is judged.
    void noteCommand(std::span<const std::byte> container);

    const RecordingOptions options_;
    Stream toDevice_, toHost_;
    std::uint16_t operation_ = 0;  // of the last command
    std::uint32_t parameter_ = 0;  // that command's first parameter
};

}  // namespace zlk::usbscan
