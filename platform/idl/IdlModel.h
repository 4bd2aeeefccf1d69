#pragma once
// The content of an interface definition file, of which the C++ header and the type library are
// made.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zlk::idl {

/// The sixteen bytes of an id, in the order of the digits in its text.
using Guid = std::array<std::uint8_t, 16>;

enum class Type : std::uint8_t { Bstr, Long, Short, ULong, Byte, Variant };

struct Parameter {
    std::string name;
    Type type = Type::Bstr;
    bool pointer = false;
    bool in = false, out = false, retval = false;
};

enum class MethodKind : std::uint8_t { Method, PropGet, PropPut };

struct Method {
    std::string name;
    MethodKind kind = MethodKind::Method;
    std::optional<std::int32_t> dispatchId;  ///< set in all dual interfaces and in no other
    std::string helpString;
    std::vector<std::string> comment;  ///< the `///` lines before it, without slashes
    std::vector<Parameter> parameters;
};

struct Interface {
    std::string name;
    Guid id{};
    bool dual = false;  ///< based on IDispatch; otherwise on IUnknown
    std::string helpString;
    std::vector<std::string> comment;
    std::vector<Method> methods;  ///< in the order of the virtual table
};

struct Coclass {
    std::string name;
    Guid id{};
    std::string helpString;
    std::vector<std::string> comment;
    std::size_t interface = 0;  ///< its default interface, by place in File::interfaces
};

struct Library {
    std::string name;
    Guid id{};
    std::uint16_t majorVersion = 0, minorVersion = 0;
    std::uint32_t locale = 0;
    std::string helpString;
    std::string import;  ///< the name of the imported library
    std::vector<std::string> comment;
    std::vector<Coclass> coclasses;
};

struct File {
    std::vector<Interface> interfaces;
    Library library;
};

}  // namespace zlk::idl
