#pragma once
// A file of code, and every folder on the way to it.
//
// Who may rename any folder above a file can put another file in its place, between the look at it
// and its loading too. So each folder is looked at from the root of the machine on, through the
// descriptor by which the next one is opened. Where none of them can be changed by others, the path
// stays that of this file.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

struct TrustedFile {
    Descriptor file;   ///< to look at it only (O_PATH)
    std::string path;  ///< without links
    explicit operator bool() const noexcept { return bool(file); }
};

/// Follows an absolute path to a regular file, and the links on it. Nobody but root and the caller
/// may write the file, its folder, or a folder above or with a link; a folder above may be one that
/// all may write if it is sticky (as /tmp) and what the path leads to in it is root's or the
/// caller's. A group's right to write the file and its folder counts against them, also where the
/// caller is the group's only member: who else joins it is decided elsewhere and later. The folders
/// above may be writable by his private group, since home folders often are. Only the group of a
/// group's root is trusted with all: it says which modules there are.
///
/// Empty with ERROR_ACCESS_DENIED, and the first folder at fault in the diagnostics; or with the
/// error of what can't be opened.
TrustedFile openTrusted(const std::string& path);

}  // namespace zlk::platform
