#pragma once
// Reads the platform's own settings, the values of
// HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn\Platform. Each call reads the value anew. Any thread
// may call.

#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// The text in a value; empty if the value is missing, isn't REG_SZ, has more than 1,000 units with
/// its terminator, or can't be read.
std::u16string platformText(const WCHAR* name);
/// The number in a value; `otherwise` if the value is missing, isn't a REG_DWORD of four bytes, or
/// can't be read.
DWORD platformNumber(const WCHAR* name, DWORD otherwise);

}  // namespace zlk::platform
