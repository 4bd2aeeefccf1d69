#pragma once
// Takes out of a camera's datasets what belongs to its owner, while they go by in pieces of any
// size: the camera's serial number, the names of cards, files and folders, and keywords. No length
// changes.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zlk::usbscan {

class Blackout {
  public:
    /// Nothing is taken out.
    Blackout() = default;
    /// Of the dataset that this operation carries; `parameter`: its first, which tells files apart.
    Blackout(std::uint16_t operation, std::uint32_t parameter);

    /// The next bytes of the dataset, changed where they are.
    void pass(std::span<std::byte> bytes);

    enum class Step : std::uint8_t { Skip2, Skip8, Skip26, Skip52, Array, Text, Secret, Name };

  private:
    void passByte(std::byte& byte);
    void passLetter(std::byte& byte, std::size_t at);
    void begin(Step step);

    std::span<const Step> steps_;  // that aren't over
    std::uint32_t parameter_ = 0;
    bool begun_ = false;                 // the first of them has
    unsigned countBytes_ = 0;            // still to come, of a count in front of it
    std::uint32_t count_ = 0;            // as far as it came
    unsigned countAt_ = 0;               // its next byte
    std::uint64_t size_ = 0, left_ = 0;  // of the step, in bytes
    bool inEnding_ = false;              // of a file's name: `.JPG` stays
};

}  // namespace zlk::usbscan
