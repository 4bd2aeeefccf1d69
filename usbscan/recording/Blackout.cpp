#include "usbscan/recording/Blackout.h"

#include <array>

namespace zlk::usbscan {
namespace {

using Step = Blackout::Step;

// Operations of ISO 15740 that carry datasets with texts of the owner, and those datasets' fields.
constexpr std::uint16_t getDeviceInfo = 0x1001, getStorageInfo = 0x1005, getObjectInfo = 0x1008,
                        sendObjectInfo = 0x100C;
constexpr std::array deviceInfo{Step::Skip8, Step::Text,  Step::Skip2, Step::Array,
                                Step::Array, Step::Array, Step::Array, Step::Array,
                                Step::Text,  Step::Text,  Step::Text,  Step::Secret};
constexpr std::array storageInfo{Step::Skip26, Step::Text, Step::Name};
constexpr std::array objectInfo{Step::Skip52, Step::Name, Step::Text, Step::Text, Step::Secret};

/// A dot and fewer letters than this at the end of a name are its ending.
constexpr std::size_t longestEnding = 5;

}  // namespace

Blackout::Blackout(std::uint16_t operation, std::uint32_t parameter) : parameter_(parameter) {
    if (operation == getDeviceInfo) steps_ = deviceInfo;
    if (operation == getStorageInfo) steps_ = storageInfo;
    if (operation == getObjectInfo || operation == sendObjectInfo) steps_ = objectInfo;
}

void Blackout::pass(std::span<std::byte> bytes) {
    for (std::byte& byte : bytes) {
        if (steps_.empty()) return;
        passByte(byte);
    }
}

void Blackout::begin(Step step) {
    begun_ = true;
    inEnding_ = false;
    count_ = countAt_ = countBytes_ = 0;
    switch (step) {
        case Step::Skip2:
            left_ = 2;
            break;
        case Step::Skip8:
            left_ = 8;
            break;
        case Step::Skip26:
            left_ = 26;
            break;
        case Step::Skip52:
            left_ = 52;
            break;
        case Step::Array:
            countBytes_ = 4;
            break;
        default:
            countBytes_ = 1;
    }
}

void Blackout::passByte(std::byte& byte) {
    const Step step = steps_.front();
    if (!begun_) begin(step);
    if (countBytes_ > 0) {
        count_ |= std::to_integer<std::uint32_t>(byte) << (8 * countAt_++);
        // Elements of these arrays, and units of texts, have two bytes.
        if (--countBytes_ == 0) size_ = left_ = std::uint64_t{count_} * 2;
    } else {
        const bool isHidden = step == Step::Secret || step == Step::Name;
        if (isHidden && left_ > 2) passLetter(byte, static_cast<std::size_t>(size_ - left_));
        --left_;
    }
    if (countBytes_ > 0 || left_ > 0) return;
    steps_ = steps_.subspan(1);
    begun_ = false;
}

/// Hides one byte of a letter, unless it belongs to a name's ending. The terminating zero isn't
/// passed here.
void Blackout::passLetter(std::byte& byte, std::size_t at) {
    if (at % 2 == 1) {
        if (!inEnding_) byte = std::byte{0};
        return;
    }
    const std::size_t letter = at / 2, behind = static_cast<std::size_t>(left_ / 2) - 2;
    if (steps_.front() == Step::Name && byte == std::byte{'.'} && behind < longestEnding)
        inEnding_ = true;
    if (inEnding_) return;
    // A name gets the digits of the parameter, the lowest first. For GetObjectInfo this is the
    // object's handle, which tells files apart.
    constexpr std::size_t digits = 8;
    const std::uint32_t digit = letter < digits ? parameter_ >> (4 * letter) & 15 : 0;
    const bool counts = steps_.front() == Step::Name && letter < digits;
    byte = static_cast<std::byte>(counts ? "0123456789abcdef"[digit] : 'x');
}

}  // namespace zlk::usbscan
