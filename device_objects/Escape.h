#pragma once
// Parses and answers the text messages of IPhotoDevice::Escape. A message is a keyword; with one of
// the keywords, the name of a camera message follows. Case is ignored, and so are further words.

#include <string>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// What goes back to the application.
struct EscapeAnswer {
    DeviceCode code;
    std::u16string text;  ///< "TRUE", "FALSE", a document, or empty
};

/// Handles one message with a connected device. NotSupported for a message that isn't known, or
/// that this kind of device doesn't support.
EscapeAnswer answerEscape(CImageDev& device, std::u16string message);

/// Removes the first word from `rest`, which is trimmed, and returns it. Words are separated by
/// blanks. If there is no word, the result is empty, and `rest` is unchanged.
std::u16string nextWord(std::u16string& rest);

}  // namespace zlk
