#pragma once
// Maps files of a storage into memory, so that they are sent without being copied.

#include <filesystem>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// The whole file as a payload. If another program shortens the file while it is being sent, the
/// access to the missing part ends this program. Throws std::system_error.
Payload mapFile(const std::filesystem::path& path);

}  // namespace zlk::camsim
