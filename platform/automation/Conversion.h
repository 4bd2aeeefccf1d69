#pragma once
// From one type of automation value to another.

#include "platform/automation.h"

namespace zlk::platform {

/// The bytes that a value of a type takes, without VT_BYREF; 0 for a type that isn't known, and for
/// those that have no value.
std::size_t sizeOfType(VARTYPE type) noexcept;

/// The value that `source` is or refers to, borrowed. E_POINTER, DISP_E_BADVARTYPE.
HRESULT dereference(const VARIANT& source, VARIANT& value) noexcept;

/// The value of `source` as another type, in raw memory; the caller clears it. `target` is empty on
/// failure. Results as of VariantChangeType.
HRESULT convert(const VARIANT& source, VARTYPE type, VARIANT& target) noexcept;

}  // namespace zlk::platform
