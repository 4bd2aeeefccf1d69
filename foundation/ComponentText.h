#pragma once
// What component methods do with texts at their boundary: take borrowed ones, hand out new ones.

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/component_object.h"

namespace zlk {

/// A copy of a borrowed text; null is the empty one.
inline std::u16string textOf(BSTR text) {
    return text ? std::u16string(text, SysStringLen(text)) : std::u16string();
}

/// A new BSTR; throws std::bad_alloc rather than giving the empty text.
inline Bstr makeBstr(std::u16string_view text) {
    Bstr made(text);
    if (!made.get()) throw std::bad_alloc();
    return made;
}

/// The body of a method whose one result is a text: what `makeText` returns goes out to `*result`,
/// which is null on failure. E_POINTER for a null `result`.
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
