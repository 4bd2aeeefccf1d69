#pragma once
// Tells whether two names or descriptors lead to the same file, and where a folder lies. Links
// can't fool these functions, as they could fool a comparison of paths. If a folder is mounted in a
// second place, the folders above it are those of the place by which it was reached. PlaceOnDisk
// takes both places for the same one.

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace zlk {

/// What identifies a file or folder, by whatever name it was reached: file system and inode.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// The identity of an open file; none with errno if it can't be looked at.
std::optional<FileIdentity> identityOf(int file);

/// Whether a name in an open folder is that of an open file, and not of a link to it; none with
/// errno if that can't be found out.
std::optional<bool> isNameOf(int folder, const std::string& name, int file);

/// The identities of a folder and of all folders above it, from the inside out. Empty with errno if
/// one of them can't be looked at.
std::vector<FileIdentity> wayFrom(int folder);

}  // namespace zlk
