#pragma once
// Keeps exceptions inside a platform call: a std::exception of the call's body becomes the last
// error ERROR_NOT_ENOUGH_MEMORY.

#include <exception>

#include "platform/error.h"

namespace zlk::platform {

/// Returns the body's result, or `onFailure` with ERROR_NOT_ENOUGH_MEMORY if the body throws a
/// std::exception. A body should throw only for want of memory.
template <class Result, class Body>
Result withoutExceptions(Result onFailure, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return onFailure;
    }
}

}  // namespace zlk::platform
