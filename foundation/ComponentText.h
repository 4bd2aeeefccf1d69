#pragma once
// Converts texts at the boundary of component methods, which take borrowed BSTRs and hand out new
// ones.

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/component_object.h"

namespace zlk {

/// A copy of a borrowed text. Null counts as the empty text.
inline std::u16string textOf(BSTR text) {
    return text ? std::u16string(text, SysStringLen(text)) : std::u16string();
}

/// A new BSTR. Throws std::bad_alloc if there is no memory, instead of giving an empty text.
inline Bstr makeBstr(std::u16string_view text) {
    Bstr made(text);
    if (!made.get()) throw std::bad_alloc();
    return made;
}

/// The body of a method whose only result is a text. What `makeText` returns goes to `*result`, as
/// a BSTR that the caller owns. On failure `*result` is null. Exceptions become E_OUTOFMEMORY or
/// E_FAIL, as in guarded(). E_POINTER for a null `result`.
template <class MakeText>
HRESULT guardedText(BSTR* result, MakeText&& makeText) noexcept {
    if (!result) return E_POINTER;
    *result = nullptr;
    return guarded([&] {
        *result = makeBstr(std::forward<MakeText>(makeText)()).detach();
        return S_OK;
    });
}

}  // namespace zlk
