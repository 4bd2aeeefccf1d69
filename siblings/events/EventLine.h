#pragma once
// The one line that an event is written as.

#include <string>
#include <string_view>

#include "platform/types.h"

namespace zlk {

/// `event 1000, level 1: text` in UTF-8, without a line end. Whatever would end the line or drive
/// a terminal is written as an escape (`\n`, `\u001B`), a backslash as two; text beyond some KB is
/// cut, which `...` shows.
std::string eventLine(LONG eventId, LONG level, std::u16string_view text);

}  // namespace zlk
