#pragma once
// Makes the type library of a definition file.

#include <string>

#include "IdlModel.h"

namespace zlk::idl {

/// Its bytes, in the form of TypeLibraryFormat.h. Throws std::runtime_error for a text that it
/// can't hold.
std::string writeTypeLibrary(const File& file);

}  // namespace zlk::idl
