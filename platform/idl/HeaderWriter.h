#pragma once
// Makes the C++ header of the interfaces and ids of a definition file.

#include <string>

#include "IdlModel.h"

namespace zlk::idl {

/// `source` is the name of the definition file, for the header's first lines.
std::string writeHeader(const File& file, const std::string& source);

}  // namespace zlk::idl
