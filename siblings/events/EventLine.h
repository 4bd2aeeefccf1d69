#pragma once
// Formats an event as one line of text.

#include <string>
#include <string_view>

#include "platform/types.h"

namespace zlk {

/// The event as `event 1000, level 1: text`, or as `event 1000, level 1` if the text is empty. The
/// line is in UTF-8 and has no line end. Characters that would end it or control a terminal are
/// written as escapes (`\n`, `\u001B`), and a backslash is doubled. A text of more than 2000 UTF-16
/// units is cut off, and `...` follows.
std::string eventLine(LONG eventId, LONG level, std::u16string_view text);

}  // namespace zlk
