#pragma once
// Where a folder lies in its file system, wherever that file system is mounted. If a folder is
// mounted in a second place (a bind mount), both places are the same one here.

#include <optional>
#include <string>

namespace zlk {

struct PlaceOnDisk {
    std::string disk;  ///< the kernel's number of the file system
    std::string path;  ///< from the file system's root, which is empty

    /// Whether this is `folder` itself or lies below it.
    bool isIn(const PlaceOnDisk& folder) const;
};

/// The place of an open folder; none if the kernel doesn't tell it.
std::optional<PlaceOnDisk> placeOnDisk(int folder);

}  // namespace zlk
