#pragma once
// Files that are read whole: what the kernel tells, and tables of ours.

#include <string>

namespace zlk::platform {

/// At most `limit` bytes of it; what can't be read is empty. Follows no end of a pipe.
std::string readSmallFile(const std::string& path, std::size_t limit);

/// A one-line file of the kernel's, without the blanks that fixed-width fields are filled with.
std::string readAttribute(const std::string& path);

}  // namespace zlk::platform
