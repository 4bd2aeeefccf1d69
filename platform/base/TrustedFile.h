#pragma once
// Opens a file that contains code only if nobody else can replace it.
//
// Anyone who may rename any folder above a file can put another file in its place, even between the
// check and the loading. So the path is walked from `/` on, each folder is checked, and the next
// one is opened through its descriptor. If others can change none of these folders, the path keeps
// leading to the file that was checked.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

struct TrustedFile {
    Descriptor file;   ///< opened with O_PATH: not for reading
    std::string path;  ///< absolute, without symbolic links
    explicit operator bool() const noexcept { return bool(file); }
};

/// Follows an absolute path, and the symbolic links on it, to a regular file. Only root and the
/// caller may be able to write the file, its folder, and each folder above it or above a link.
/// There are two exceptions for folders above: one that others may write is accepted if it is
/// sticky (as /tmp) and both it and the path's next entry in it belong to root or the caller; and
/// one that the caller's private group may write, as it may many home folders, is accepted if it
/// has no access control list. For the file and its own folder the private group is no exception:
/// who joins that group later is decided by others. With a group's machine root, that group is
/// trusted everywhere, because it chooses the modules anyway.
///
/// On failure the result is empty. The last error is ERROR_ACCESS_DENIED if others could change or
/// replace the file (the diagnostics then name the first file, link or folder at fault),
/// ERROR_FILE_NOT_FOUND if the path leads to something other than a regular file,
/// ERROR_PATH_NOT_FOUND for a relative path or too many links, or the error of what can't be
/// opened.
TrustedFile openTrusted(const std::string& path);

}  // namespace zlk::platform
