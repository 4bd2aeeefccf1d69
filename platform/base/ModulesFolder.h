#pragma once
// The place of the installed modules.

#include <string>

namespace zlk::platform {

/// The folder `zlkcamtr` beside this library. It holds the modules that are asked for by a bare
/// name, the store of installed classes, and the program zlk-usbscan. If the library's own path
/// can't be found out, the result is a folder that doesn't exist.
std::string modulesFolder();

}  // namespace zlk::platform
