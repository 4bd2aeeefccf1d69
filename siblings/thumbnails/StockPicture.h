#pragma once
// Drawn pictures for files that can't be shown.

#include <string_view>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The picture for the kind of file that an extension (with its dot) stands for: a picture, a film,
/// a sound, or any other file. It fits into `box`.
Picture stockPicture(std::u16string_view extension, Size box);

}  // namespace zlk
