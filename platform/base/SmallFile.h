#pragma once
// Reads small files as a whole (those that the kernel provides, and our own tables), and lists
// folders. Failures aren't reported: callers treat what can't be read as missing.

#include <string>
#include <vector>

namespace zlk::platform {

/// The first `limit` bytes of a file, or fewer if reading fails on the way; empty if the file can't
/// be opened. It never blocks, even if there is a pipe in the place of the file.
std::string readSmallFile(const std::string& path, std::size_t limit);

/// The line of a one-line file of the kernel's (up to 256 bytes), without the blanks that pad
/// fields of fixed width.
std::string readAttribute(const std::string& path);

/// The names in a folder, sorted, without `.` and `..`; none if it can't be read.
std::vector<std::string> namesIn(const std::string& folder);

}  // namespace zlk::platform
