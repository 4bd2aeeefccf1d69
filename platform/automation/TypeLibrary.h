#pragma once
// What a type library says: its types, with their members and the members' parameters. It is read
// as a stranger's: whoever put it beside a module may have cut it off or scribbled over it.

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/idl/TypeLibraryFormat.h"
#include "platform/types.h"

namespace zlk::platform {

struct TypeParameter {
    std::u16string name;
    typelib::ValueType type;
    bool isPointer;  ///< to one of that type
    WORD flags;      ///< typelib::in, out, retval
};

struct TypeMember {
    std::u16string name, help;
    LONG id;
    typelib::FunctionKind kind;
    std::vector<TypeParameter> parameters;

    /// Whether the last parameter is the place of what a caller by name gets as the result.
    bool returnsValue() const {
        return !parameters.empty() && (parameters.back().flags & typelib::retval);
    }
};

struct TypeEntry {
    GUID id;
    typelib::TypeKind kind;
    std::u16string name, help;
    std::vector<TypeMember> members;   ///< of an interface, in the order of its virtual table
    std::size_t defaultInterface = 0;  ///< of a class, by place among the types
};

struct TypeLibrary {
    GUID id;
    WORD majorVersion, minorVersion;
    DWORD locale;
    std::u16string name, help, imported;
    std::vector<TypeEntry> types;
};

/// With the longest text it bounds what a small file can make of itself by naming one text often.
inline constexpr std::size_t largestTypeLibrary = 1 << 20;

/// Nothing for bytes that aren't such a library, whole and without anything over, or that are more
/// than the largest one has.
std::optional<TypeLibrary> readTypeLibrary(std::span<const std::byte> bytes);

}  // namespace zlk::platform
