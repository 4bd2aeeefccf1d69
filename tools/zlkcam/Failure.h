#pragma once
// What ends a command: thrown where it is found out, told by main.

#include <stdexcept>
#include <string>

#include "platform/types.h"
#include "tools/zlkcam/ExitStatus.h"

namespace zlk {

class Failure : public std::runtime_error {
  public:
    /// `message` says what went wrong, `advice` what to do next (may be empty); both in whole
    /// sentences, in UTF-8.
    Failure(ExitStatus failed, const std::string& message, std::string whatNext = {})
        : std::runtime_error(message), status(failed), advice(std::move(whatNext)) {}

    ExitStatus status;
    std::string advice;
};

}  // namespace zlk
