#pragma once
// Converts automation values from one type to another. The functions may be called on any thread.

#include "platform/automation.h"

namespace zlk::platform {

/// The size in bytes of a value of this type; 0 for an unknown type, for one with VT_BYREF, and for
/// VT_EMPTY and VT_NULL.
std::size_t sizeOfType(VARTYPE type) noexcept;

/// Gives the value that `source` holds or, with VT_BYREF, points to. A text or object in the value
/// is borrowed. E_POINTER for a null pointer, DISP_E_BADVARTYPE if the type that is pointed to is
/// unknown, or if more than one VARIANT would have to be followed.
HRESULT dereference(const VARIANT& source, VARIANT& value) noexcept;

/// Stores the value of `source` as another type into `target`, which is raw memory before; the
/// caller clears it afterwards. `target` is empty on failure. Results as of VariantChangeType.
HRESULT convert(const VARIANT& source, VARTYPE type, VARIANT& target) noexcept;

}  // namespace zlk::platform
