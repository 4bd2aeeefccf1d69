#pragma once
// Handles paths and folders in the form in which applications write them.

#include <string>

namespace zlk {

/// Whether `path` is an existing folder. White space and slashes at its end are ignored.
bool directoryExists(std::u16string path);

/// Makes the folder `path` and all missing folders above it. White space and slashes at its end are
/// ignored. False if one of the folders can't be made, or if `path` is empty.
bool makeDirectoryTree(std::u16string path);

/// `a` and `b` with one backslash between them. White space is trimmed from both, and backslashes
/// from the end of `a` and the start of `b`. If one is empty, the result is the other.
std::u16string joinPath(std::u16string a, std::u16string b);

/// Name and extension of a path.
std::u16string fileNamePart(const std::u16string& path);

/// The folder of a path, without the drive, with its trailing slash.
std::u16string dirPart(const std::u16string& path);

std::u16string trimmed(const std::u16string& text);

/// Our own folder inside the system's folder for temporary files, without a trailing backslash. It
/// is made if it is missing. If that fails, nothing is reported here; creating a file in the folder
/// then fails. If the system has no folder for temporary files, or one with a path of MAX_PATH
/// units or more, the result is a relative path, and no folder is made.
std::u16string GetTempDir();

}  // namespace zlk
