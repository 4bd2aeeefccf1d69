#pragma once
// When a picture was taken, as its file says.

#include <cstddef>
#include <optional>
#include <span>

#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

/// Bytes at the start of a file that are enough for all that is looked at.
inline constexpr std::size_t pictureHeadSize = 256 * 1024;

/// `head`: the first bytes of a file, of any kind and from anybody. The time is the one where the
/// picture was taken, whatever time zone that is in; a video's, which is in UTC, comes in this
/// machine's. None where the file doesn't say.
std::optional<LocalTime> pictureDate(std::span<const std::byte> head);

}  // namespace zlk
