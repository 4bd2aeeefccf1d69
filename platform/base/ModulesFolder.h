#pragma once
// Where the installed modules are.

#include <string>

namespace zlk::platform {

/// The folder `zlkcamtr` beside this library, where modules stand that are asked for by a bare
/// name, and the store of installed classes.
std::string modulesFolder();

}  // namespace zlk::platform
