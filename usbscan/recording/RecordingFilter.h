#pragma once
// What of a camera's transfers may stand in a recording: all that it says about itself and its
// files, and of the files' contents nothing but their lengths, unless they are asked for.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "usbscan/recording/Blackout.h"

namespace zlk::usbscan {

struct RecordingOptions {
    bool payloads = false;   ///< contents too
    bool anonymous = false;  ///< without serial number, names and owner's texts
};

class RecordingFilter {
  public:
    enum class Direction { ToDevice, ToHost };

    /// A part of a transfer that belongs to one container, of 128 KiB at most.
    struct Part {
        std::vector<std::byte> kept;  ///< its beginning
        std::size_t length = 0;       ///< with what is left out
        bool beginsContainer = false;
    };

    explicit RecordingFilter(const RecordingOptions& options) : options_(options) {}

    /// The next bytes of a transfer, all of them in parts. `isLight`: contents are left out even
    /// if they were asked for.
    std::vector<Part> split(Direction direction, std::span<const std::byte> bytes,
                            bool endsTransfer, bool isLight);
    /// A transaction was cancelled: neither direction goes on with what it had begun.
    void breakOff() { toDevice_ = toHost_ = {}; }

  private:
    static constexpr std::size_t headSize = 12;
    struct Stream {
        std::array<std::byte, headSize> head{};
        std::size_t headLength = 0;  // as far as it came
        std::uint64_t left = 0;      // behind the head
        bool isContent = true;       // else a message, or what the camera says about itself
        Blackout blackout;
    };
    std::size_t takeHead(Stream& stream, std::span<const std::byte> bytes);
    void judge(Stream& stream);
    bool describes(std::uint16_t operation, std::uint32_t parameter) const;
    void noteCommand(std::span<const std::byte> container);

    const RecordingOptions options_;
    Stream toDevice_, toHost_;
    std::uint16_t operation_ = 0;  // of the last command,
    std::uint32_t parameter_ = 0;  // and its first parameter
};

}  // namespace zlk::usbscan
