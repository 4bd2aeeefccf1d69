#pragma once
// Writes the type library of a definition file.

#include <string>

#include "IdlModel.h"

namespace zlk::idl {

/// The bytes of the library, in the format of TypeLibraryFormat.h. Throws std::runtime_error for a
/// text that the format can't hold.
std::string writeTypeLibrary(const File& file);

}  // namespace zlk::idl
