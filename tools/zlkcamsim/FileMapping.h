#pragma once
// Files of a storage, read in place.

#include <filesystem>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The whole file, mapped. A file that somebody shortens while it is being sent ends the program.
/// Throws std::system_error.
Payload mapFile(const std::filesystem::path& path);

}  // namespace zlk::camsim
