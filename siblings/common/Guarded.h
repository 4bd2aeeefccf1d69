#pragma once
// The border of a component: what is thrown inside comes out as a result.

#include <new>

#include "platform/error.h"

namespace zlk {

template <class Body>
HRESULT guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace zlk
