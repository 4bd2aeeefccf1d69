#pragma once
// What went wrong, as an exit status and a message for the user.

#include <stdexcept>
#include <string>

#include "platform/types.h"
#include "tools/zlkcam/ExitStatus.h"

namespace zlk {

/// Thrown by the commands and by what they call. If none of them catches it, main prints it and
/// ends the program with its status. A command may also catch it and go on, for instance with the
/// next file.
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
