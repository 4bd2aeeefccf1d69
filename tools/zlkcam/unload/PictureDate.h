#pragma once
// Finds out when a picture or video was taken, from the first bytes of its file.

#include <cstddef>
#include <optional>
#include <span>

#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

/// How many bytes from the start of a file pictureDate looks at, at most.
inline constexpr std::size_t pictureHeadSize = 256 * 1024;

/// `head` holds the first bytes of a file of any kind, which may be malicious. The result is the
/// local time at the place where the picture was taken; a video's time, which counts as UTC, is
/// converted to this machine's time zone. None if these bytes have no plausible date.
std::optional<LocalTime> pictureDate(std::span<const std::byte> head);

}  // namespace zlk
