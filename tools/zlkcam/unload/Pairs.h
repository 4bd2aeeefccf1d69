#pragma once
// Files that belong to one shot: its RAW and its JPEG, and what else has their name.

#include <cstddef>
#include <vector>

#include "tools/zlkcam/Documents.h"

namespace zlk {

/// Indices of the records, grouped by folder and name without extension, whatever the case; groups
/// are in the order of their first records, and have theirs in the order of the list. No two of a
/// group have one name: where a camera, whose folders the list doesn't show, has `IMG_1.JPG` and
/// `IMG_1.CR2` twice, these are two groups.
std::vector<std::vector<std::size_t>> pairsOf(const std::vector<FileRecord>& files);

}  // namespace zlk
