#pragma once
// Maps the files of objects into memory, so that they needn't be read as a whole.

#include <filesystem>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The whole file as a payload. If another program shortens the file while the payload is in use,
/// an access to the missing part may end this program. Throws std::system_error.
Payload mapFile(const std::filesystem::path& path);

}  // namespace zlk::camsim
