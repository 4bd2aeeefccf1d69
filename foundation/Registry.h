#pragma once
// Reads and writes the settings tree with failures reduced to what callers care about: what can't
// be read counts as missing.
//
// Keys are borrowed, except for those in a RegistryKey. All functions accept a null key, and then
// report a failure. A name with an embedded zero names nothing. Any thread may call the functions.

#include <cstdint>
#include <string>

#include "platform/registry.h"

namespace zlk {

/// Opens a key below `parent`. Empty if there is no such key, or if it can't be opened.
RegistryKey regOpenKey(HKEY parent, const std::u16string& name, DWORD access);
/// Opens the key, or makes it together with all missing keys above it. Empty on failure.
RegistryKey regCreateKey(HKEY parent, const std::u16string& name, DWORD access);

/// 0 on failure.
std::uint32_t regCountSubKeys(HKEY key);
std::uint32_t regCountValues(HKEY key);

/// The name at `index`. Empty if there is none, or if it has more than 300 units.
std::u16string regEnumKeyName(HKEY key, std::uint32_t index);
std::u16string regEnumValueName(HKEY key, std::uint32_t index);

/// False if the value is missing or isn't a REG_DWORD; `value` is unchanged then.
bool regReadDword(HKEY key, const std::u16string& name, std::uint32_t& value);

/// False if the value is missing, isn't a REG_SZ or has more than 149 units; `value` is empty then.
bool regReadString(HKEY key, const std::u16string& name, std::u16string& value);

/// False if the value can't be written, or if it has more than 499 units.
bool regWriteString(HKEY key, const std::u16string& name, const std::u16string& value);
/// Like regWriteString(), but as if the value were new: it comes last in enumerations, and its name
/// is spelled as in `name`.
bool regWriteStringAnew(HKEY key, const std::u16string& name, const std::u16string& value);

}  // namespace zlk
