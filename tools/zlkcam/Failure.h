#pragma once
// The exception that ends a command with an exit status and a message for the user.

#include <stdexcept>
#include <string>

#include "platform/types.h"
#include "tools/zlkcam/ExitStatus.h"

namespace zlk {

/// Commands throw it; main prints it and ends with its status.
class Failure : public std::runtime_error {
  public:
    /// `message` says what went wrong; `whatNext` says what to do about it, and may be empty. Both
    /// are for people, in UTF-8.
    Failure(ExitStatus failed, const std::string& message, std::string whatNext = {})
        : std::runtime_error(message), status(failed), advice(std::move(whatNext)) {}

    // Not const, so that a Failure can be assigned.
    ExitStatus status;
    std::string advice;
};

}  // namespace zlk
