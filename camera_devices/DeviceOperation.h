#pragma once
// No exception leaves an operation of CImageDev: what its body throws becomes its result.

#include <new>
#include <utility>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// The code of `body`; OutOfMemory or, for any other exception, `otherwise` where it throws.
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

/// The answer of `body`; false where it throws.
template <class Body>
bool operationAnswer(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return false;
    }
}

}  // namespace zlk
