#pragma once
// Turns exceptions into results, since no exception may leave an operation of CImageDev.

#include <new>
#include <utility>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// Returns what `body` returns. If it throws std::bad_alloc the result is OutOfMemory, and
/// `otherwise` for any other exception.
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
