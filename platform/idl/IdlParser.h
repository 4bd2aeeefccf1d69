#pragma once
// Parses interface definition files. A file has interfaces, based on IUnknown or IDispatch, and one
// library of coclasses, which stands after the interfaces that it names. There are no expressions,
// and a parameter has one of the types in IdlModel.h, or is a pointer to one.

#include <stdexcept>
#include <string>
#include <string_view>

#include "IdlModel.h"

namespace zlk::idl {

/// The reason why a file was refused, and the line, counted from 1.
class ParseError : public std::runtime_error {
  public:
    ParseError(int line, const std::string& reason) : std::runtime_error(reason), line_(line) {}
    int line() const noexcept { return line_; }

  private:
    int line_;
};

/// Parses a whole file. Throws ParseError.
File parse(std::string_view text);

}  // namespace zlk::idl
