#pragma once
// Paths and folders in the text forms of applications.

#include <string>

namespace zlk {

/// Whether `path` is a folder; white space and slashes at its end don't matter.
bool directoryExists(std::u16string path);

/// Makes `path` and every missing folder above it. False where one can't be made; the process's
/// current folder is what it was.
bool makeDirectoryTree(std::u16string path);

/// `a` and `b` with one backslash between them: white space is trimmed from both, backslashes
/// from the end of `a` and the start of `b`. An empty part gives the other one.
std::u16string joinPath(std::u16string a, std::u16string b);

/// Name and extension of a path.
std::u16string fileNamePart(const std::u16string& path);

/// The folder part of a path, without the drive and with its trailing backslash.
std::u16string dirPart(const std::u16string& path);

/// White space cut from both ends.
std::u16string trimmed(const std::u16string& text);

/// The system's own folder for temporary files, made on the way, without a trailing backslash.
/// A folder that can't be made shows in what is created there.
std::u16string GetTempDir();

}  // namespace zlk
