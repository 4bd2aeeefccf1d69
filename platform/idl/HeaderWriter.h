#pragma once
// Writes the C++ header with the interfaces and ids of a definition file.

#include <string>

#include "IdlModel.h"

namespace zlk::idl {

/// The header's text. `source` is the name of the definition file, which the header mentions.
std::string writeHeader(const File& file, const std::string& source);

}  // namespace zlk::idl
