#pragma once
// Files that are read whole, and their folders: what the kernel tells, and tables of ours.

#include <string>
#include <vector>

namespace zlk::platform {

/// At most `limit` bytes of it; what can't be read is empty. Follows no end of a pipe.
std::string readSmallFile(const std::string& path, std::size_t limit);

/// A one-line file of the kernel's, without the blanks that fixed-width fields are filled with.
std::string readAttribute(const std::string& path);

/// What is in a folder, sorted; nothing if it can't be read.
std::vector<std::string> namesIn(const std::string& folder);

}  // namespace zlk::platform
