#pragma once
// The settings store in the way the system asks for things: what can't be read isn't there.
//
// Every function takes a null key and then does nothing. A name with an embedded zero names
// nothing.

#include <cstdint>
#include <string>

#include "platform/registry.h"

namespace zlk {

/// Empty if there is no such key or it can't be opened.
RegistryKey regOpenKey(HKEY parent, const std::u16string& name, DWORD access);
/// Opens the key or makes it with all that is missing above it; empty on failure.
RegistryKey regCreateKey(HKEY parent, const std::u16string& name, DWORD access);

std::uint32_t regCountSubKeys(HKEY key);
std::uint32_t regCountValues(HKEY key);

/// The name at `index`; empty if there is none or it has more than 300 units.
std::u16string regEnumKeyName(HKEY key, std::uint32_t index);
std::u16string regEnumValueName(HKEY key, std::uint32_t index);

/// False, with `value` as it was, if the value is missing or isn't a REG_DWORD.
bool regReadDword(HKEY key, const std::u16string& name, std::uint32_t& value);

/// Empties `value` first. False if the value is missing, isn't a REG_SZ or has more than 149
/// units.
bool regReadString(HKEY key, const std::u16string& name, std::u16string& value);

/// False if it can't be written or `value` has more than 499 units.
bool regWriteString(HKEY key, const std::u16string& name, const std::u16string& value);
/// The same as a value that is made only now: it enumerates last, its name in this spelling.
bool regWriteStringAnew(HKEY key, const std::u16string& name, const std::u16string& value);

}  // namespace zlk
