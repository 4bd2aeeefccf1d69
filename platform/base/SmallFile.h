#pragma once
// Reads small files and lists folders. Failures aren't reported: a result that couldn't be read is
// empty or cut short.

#include <string>
#include <vector>

namespace zlk::platform {

/// The first `limit` bytes of a file, or fewer if the file is shorter or reading fails on the way;
/// empty if the file can't be opened. If `path` leads to a pipe, this doesn't wait for it.
std::string readSmallFile(const std::string& path, std::size_t limit);

/// The line of a one-line file of the kernel's (up to 256 bytes), without blanks at its start and
/// end.
std::string readAttribute(const std::string& path);

/// The names in a folder, sorted, without `.` and `..`; none if the folder can't be opened.
std::vector<std::string> namesIn(const std::string& folder);

}  // namespace zlk::platform
