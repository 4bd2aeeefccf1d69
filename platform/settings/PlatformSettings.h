#pragma once
// The platform's own settings: HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn\Platform.

#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// A text; empty where it isn't set, or set to something else or to more than 1,000 units.
std::u16string platformText(const WCHAR* name);
/// A number; `otherwise` where it isn't set.
DWORD platformNumber(const WCHAR* name, DWORD otherwise);

}  // namespace zlk::platform
