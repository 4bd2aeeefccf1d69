#pragma once
// Values as a caller by name passes them. What they point to stays the caller's.

#include <cstdint>

#include "platform/automation.h"

namespace zlk::test {

inline VARIANT number(VARTYPE type, std::int64_t value) {
    VARIANT made{};
    made.vt = type;
    made.llVal = value;  // the low bytes are those of each smaller type
    return made;
}

inline VARIANT real(double value) {
    VARIANT made{};
    made.vt = VT_R8;
    made.dblVal = value;
    return made;
}

/// An object, a text, or with VT_BYREF what it refers to.
inline VARIANT pointer(VARTYPE type, void* value) {
    VARIANT made{};
    made.vt = type;
    made.byref = value;
    return made;
}

inline VARIANT reference(VARTYPE type, void* to) {
    return pointer(static_cast<VARTYPE>(VT_BYREF | type), to);
}

}  // namespace zlk::test
