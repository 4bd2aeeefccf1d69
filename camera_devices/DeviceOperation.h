#pragma once
// Turns exceptions into results, since no exception may leave an operation of CImageDev.

#include <new>
#include <utility>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// Returns what `body` returns; OutOfMemory if `body` throws std::bad_alloc, and `otherwise` if it
/// throws anything else.
template <class Body>
DeviceCode operationCode(DeviceCode otherwise, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return DeviceCode::OutOfMemory;
    } catch (...) {
        return otherwise;
    }
}

/// Returns what `body` returns, or false if it throws.
template <class Body>
bool operationAnswer(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return false;
    }
}

}  // namespace zlk
