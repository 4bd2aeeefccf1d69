#pragma once
// Finds the files that belong to one shot: its RAW, its JPEG, and others of the same name.

#include <cstddef>
#include <vector>

#include "tools/zlkcam/Documents.h"

namespace zlk {

/// Groups the indices of the records by folder and name without extension, whatever the case.
/// Groups are in the order of their first records, and indices in the order of the list. No two
/// files of a group have the same name: a camera, whose folders the list doesn't show, may have
/// `IMG_1.JPG` and `IMG_1.CR2` twice, and these make two groups.
std::vector<std::vector<std::size_t>> pairsOf(const std::vector<FileRecord>& files);

}  // namespace zlk
