#pragma once
// A type library in memory: its types, with their members and the members' parameters; and the
// reader of its file. The reader copes with any bytes, because a file may have been cut off or
// overwritten.

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
    bool isPointer;  ///< to a value of that type
    WORD flags;      ///< typelib::in, out, retval
};

/// A method of an interface, or the reader or writer of a property.
struct TypeMember {
    std::u16string name, help;
    LONG id;
    typelib::FunctionKind kind;
    std::vector<TypeParameter> parameters;

    /// Whether the last parameter receives what a caller by name gets as the result.
    bool returnsValue() const {
        return !parameters.empty() && (parameters.back().flags & typelib::retval);
    }
};

/// An interface or a class.
struct TypeEntry {
    GUID id;
    typelib::TypeKind kind;
    std::u16string name, help;
    std::vector<TypeMember> members;   ///< of an interface, in the order of its virtual table
    std::size_t defaultInterface = 0;  ///< of a class: place in TypeLibrary::types
};

/// All of a library; `imported` is what its definition file imports, and may be empty.
struct TypeLibrary {
    GUID id;
    WORD majorVersion, minorVersion;
    DWORD locale;
    std::u16string name, help, imported;
    std::vector<TypeEntry> types;
};

/// The size in bytes of the largest file that is read. Together with the longest text, this limits
/// the memory that a file can use up by naming one text very often.
inline constexpr std::size_t largestTypeLibrary = 1 << 20;

/// Reads a library from the bytes of its file. Gives none if the bytes aren't exactly one whole
/// library, or are more than largestTypeLibrary.
std::optional<TypeLibrary> readTypeLibrary(std::span<const std::byte> bytes);

}  // namespace zlk::platform
