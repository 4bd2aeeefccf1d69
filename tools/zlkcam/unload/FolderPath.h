#pragma once
// Opens folders by paths that the user or a component gives. A path may begin with a drive letter,
// which only the platform can resolve.

#include <string>

#include "platform/descriptor.h"

namespace zlk {

/// Opens a folder. Empty if that fails, with a text in `reason`.
Descriptor openFolder(const std::u16string& path, std::string& reason);

/// The path of the folder that the last component lies in. The path itself for a root, and for a
/// path that has no slash or ends in one.
std::u16string pathAbove(const std::u16string& path);

/// The longest part of an absolute path that exists, or else its root. A new folder would lie on
/// the device on which this part lies.
std::u16string existingPart(std::u16string path);

}  // namespace zlk
