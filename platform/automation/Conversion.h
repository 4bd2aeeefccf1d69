#pragma once
// Converts automation values from one type to another. The functions may be called on any thread.

#include "platform/automation.h"

namespace zlk::platform {

/// The size in bytes of a value of this type; 0 for an unknown type, one with VT_BYREF, and one
/// without values.
std::size_t sizeOfType(VARTYPE type) noexcept;

/// Gives the value that `source` is, or that it points to with VT_BYREF; what it contains is
/// borrowed. E_POINTER, DISP_E_BADVARTYPE.
HRESULT dereference(const VARIANT& source, VARIANT& value) noexcept;

/// Stores the value of `source` as another type into `target`, which is raw memory before; the
/// caller clears it afterwards. `target` is empty on failure. Results as of VariantChangeType.
HRESULT convert(const VARIANT& source, VARTYPE type, VARIANT& target) noexcept;

}  // namespace zlk::platform
