#pragma once

#include <string_view>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// What stands for a file that can't be shown, drawn by the kind that its name's extension (with
/// its dot) tells: a picture, a film, a sound, or any file. It fits into `box`.
Picture stockPicture(std::u16string_view extension, Size box);

}  // namespace zlk
