#pragma once
// Reads interface definition files. The grammar is closed: interfaces over IUnknown or IDispatch
// with their methods, then one library of coclasses; no expressions, no types of one's own.

#include <stdexcept>
#include <string>
#include <string_view>

#include "IdlModel.h"

namespace zlk::idl {

/// Why a file was refused, and where.
class ParseError : public std::runtime_error {
  public:
    ParseError(int line, const std::string& reason) : std::runtime_error(reason), line_(line) {}
    int line() const noexcept { return line_; }

  private:
    int line_;
};

/// Throws ParseError.
File parse(std::string_view text);

}  // namespace zlk::idl
