#pragma once
// What an interface definition file says, apart from how it is written and from what is made of
// it: the header of the interfaces, the type library.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zlk::idl {

/// The sixteen digits pairs of an id, in the order of its text.
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
    std::optional<std::int32_t> dispatchId;  ///< each method of a dual interface has one
    std::string helpString;
    std::vector<std::string> comment;  ///< the lines in front of it, without their slashes
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
    std::size_t interface = 0;  ///< its default interface, by place in the file
};

struct Library {
    std::string name;
    Guid id{};
    std::uint16_t majorVersion = 0, minorVersion = 0;
    std::uint32_t locale = 0;
    std::string helpString;
    std::string import;  ///< the library that it builds on
    std::vector<std::string> comment;
    std::vector<Coclass> coclasses;
};

struct File {
    std::vector<Interface> interfaces;
    Library library;
};

}  // namespace zlk::idl
