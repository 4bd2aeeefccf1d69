#pragma once
// The text messages of IPhotoDevice::Escape: a keyword, and behind it, for one of them, the name
// of a camera message. Both ignore case; words behind them are ignored.

#include <string>

#include "camera_devices/CImageDev.h"

namespace zlk {

struct EscapeAnswer {
    DeviceCode code;
    std::u16string text;  ///< "TRUE", "FALSE", a document, or empty
};

/// Runs one message on a connected device. NotSupported for a message that isn't understood, and
/// for one that the device kind doesn't know.
EscapeAnswer answerEscape(CImageDev& device, std::u16string message);

/// Takes one word off the front of `rest`, which is trimmed on the way. Only a blank ends a word.
/// Empty, with `rest` as it was, where there is none.
std::u16string nextWord(std::u16string& rest);

}  // namespace zlk
