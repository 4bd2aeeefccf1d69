#pragma once
// Follows the path of a file that contains code or decides which code runs, and refuses the file if
// somebody who isn't trusted could change or replace it.
//
// A user who may rename a folder above a file can put another file in the file's place, even
// between the check and the loading. So the path is walked from `/` on: each folder is checked, and
// the next one is opened through the descriptor of the one before. If all folders pass the check,
// only trusted users can make the path lead to another file.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

struct TrustedFile {
    Descriptor file;   ///< opened with O_PATH: not for reading
    std::string path;  ///< absolute, without symbolic links
    explicit operator bool() const noexcept { return bool(file); }
};

/// Follows an absolute path, and the symbolic links on it, to a regular file. Only root and the
/// caller may be able to write the file, the folder that holds it, and each other folder on the
/// way. There are two exceptions for the other folders. A folder that others may write is accepted
/// if it is sticky (as /tmp), and both the folder and the path's next entry in it belong to root or
/// the caller. A folder that the caller's private group may write is accepted if it has no access
/// control list. If the machine root belongs to a group, that group is trusted as root and the
/// caller are.
///
/// On failure the result is empty. The last error is ERROR_ACCESS_DENIED if others could change or
/// replace the file (the diagnostics then name the first file, link or folder at fault),
/// ERROR_FILE_NOT_FOUND if the path leads to something other than a regular file,
/// ERROR_PATH_NOT_FOUND for a relative path or too many links, or the error of what can't be
/// opened.
TrustedFile openTrusted(const std::string& path);

}  // namespace zlk::platform
