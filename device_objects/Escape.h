#pragma once
// Parses and answers the text messages of IPhotoDevice::Escape. A message is a keyword; after
// CAMERA_SendCameraMsg, the name of a camera message follows. Case is ignored, and so are further
// words.

#include <string>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// What goes back to the application.
struct EscapeAnswer {
    DeviceCode code;
    std::u16string text;  ///< "TRUE", "FALSE", a document, or empty
};

/// Handles one message with a connected device. NotSupported for an unknown keyword or camera
/// message, and for MSDC_IsCardInserted and MSDC_NoRecursion with a device that isn't a volume.
EscapeAnswer answerEscape(CImageDev& device, std::u16string message);

/// Removes the first word from `rest` and returns the word. Words are separated by blanks, and what
/// is left in `rest` is trimmed. If there is no word, the result is empty, and `rest` is unchanged.
std::u16string nextWord(std::u16string& rest);

}  // namespace zlk
