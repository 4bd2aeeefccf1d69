#pragma once
// Reads the platform's own settings, the values of
// HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn\Platform. Each call reads anew, on any thread.

#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// A text; empty where it isn't set, isn't a text, or has more than 1,000 units with its
/// terminator.
std::u16string platformText(const WCHAR* name);
/// A number; `otherwise` where it isn't set or isn't a number.
DWORD platformNumber(const WCHAR* name, DWORD otherwise);

}  // namespace zlk::platform
