#pragma once
// Converts VARIANTs from one type to another.

#include "platform/automation.h"

namespace zlk::platform {

/// The size in bytes of a value of this type; 0 for an unknown type, for one with VT_BYREF, and for
/// VT_EMPTY and VT_NULL.
std::size_t sizeOfType(VARTYPE type) noexcept;

/// Gives the value that `source` holds or, with VT_BYREF, points to. A text or object in the value
/// is borrowed. E_POINTER for a null pointer, DISP_E_BADVARTYPE if sizeOfType has no size for the
/// type that is pointed to, or for a pointer to a VARIANT that points to another VARIANT.
HRESULT dereference(const VARIANT& source, VARIANT& value) noexcept;

/// Stores the value of `source`, converted to `type`, in `target`, which may be raw memory before.
/// The caller clears `target` afterwards; on failure it is empty. Results as of VariantChangeType.
HRESULT convert(const VARIANT& source, VARTYPE type, VARIANT& target) noexcept;

}  // namespace zlk::platform
