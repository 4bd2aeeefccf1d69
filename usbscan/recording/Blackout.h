#pragma once
// Blacks out what belongs to a camera's owner in datasets that pass in pieces of any size: the
// serial number in DeviceInfo, the volume's label in StorageInfo, the name and the keywords in
// ObjectInfo (ISO 15740). A name or label keeps an ending such as `.JPG`. The lengths of texts stay
// the same, so that the datasets can still be read.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zlk::usbscan {

class Blackout {
  public:
    /// Changes nothing.
    Blackout() = default;
    /// For the dataset that this operation carries; other operations' data isn't changed.
    /// `parameter` is the operation's first parameter, such as an object's handle; a hidden name is
    /// made from it.
    Blackout(std::uint16_t operation, std::uint32_t parameter);

    /// Goes through the next bytes of the dataset, and overwrites the owner's texts among them in
    /// place.
    void pass(std::span<std::byte> bytes);

    /// What is done with a field of a dataset. SkipN leaves N bytes as they are, Array an array of
    /// 16-bit numbers, and Text a text. Secret hides a text. Name hides the name of a file or a
    /// card, except for its ending.
    enum class Step : std::uint8_t { Skip2, Skip8, Skip26, Skip52, Array, Text, Secret, Name };

  private:
    void passByte(std::byte& byte);
    void passLetter(std::byte& byte, std::size_t at);
    void begin(Step step);

    std::span<const Step> steps_;  // for the fields that haven't passed completely
    std::uint32_t parameter_ = 0;
    bool begun_ = false;       // the field of the first step has begun
    unsigned countBytes_ = 0;  // bytes still to come of the count before an array or a text
    std::uint32_t count_ = 0;  // what has come of that count
    unsigned countAt_ = 0;     // index of that count's next byte
    std::uint64_t size_ = 0, left_ = 0;  // of the field, in bytes
    bool inEnding_ = false;              // in a file name's ending, such as `.JPG`, which is kept
};

}  // namespace zlk::usbscan
