#pragma once
// Folders by paths in the user's or a component's form. They may begin with a drive letter, so that
// only the platform can resolve them.

#include <string>

#include "platform/descriptor.h"

namespace zlk {

/// Opens a folder. Empty if that fails, with the reason as text.
Descriptor openFolder(const std::u16string& path, std::string& reason);

/// The path of the folder that the last component lies in. The path itself for a root, and for a
/// path that ends in a slash or has none.
std::u16string pathAbove(const std::u16string& path);

/// The longest part of a path that exists, to find out on which device a new folder would lie.
std::u16string existingPart(std::u16string path);

}  // namespace zlk
