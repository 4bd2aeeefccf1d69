#pragma once
// The edge of a platform call: what its body throws becomes a last error.

#include <exception>

#include "platform/error.h"

namespace zlk::platform {

/// The body's result; `onFailure` with ERROR_NOT_ENOUGH_MEMORY where it throws, since running out
/// of memory is all that the library makes us throw.
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
