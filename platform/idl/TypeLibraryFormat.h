#pragma once
// The file format of a type library: flat records, one table after the other, followed by the
// texts. All numbers are little-endian on every machine. Below, the offset of a field stands before
// its name, and its size in bytes after it.
//
//     header       see below
//     types        typeCount records of typeSize bytes
//     functions    functionCount records of functionSize bytes
//     parameters   parameterCount records of parameterSize bytes
//     texts        textSize bytes: printable ASCII, with a zero after each text; records name a
//                  text by its offset
//
//     header       0 magic   8 id (16)   24 major (2), minor (2)   28 locale (4)   32 name (4)
//                 36 help (4)   40 imported library (4)   44 typeCount (4)   48 functionCount (4)
//                 52 parameterCount (4)   56 textSize (4)
//     type         0 id (16)   16 kind (4)   20 name (4)   24 help (4)   28 number of functions, or
//                  of a class the place of its default interface among the types (4)
//     function     0 name (4)   4 help (4)   8 member id (4)   12 kind (4)
//                 16 number of parameters (4)
//     parameter    0 name (4)   4 VARTYPE, with VT_BYREF for a pointer (2)   6 flags (2)
//
// The first three parts of an id are numbers of 4, 2 and 2 bytes. The functions follow each other
// in the order of the types, and within a type in the order of its virtual table; the parameters
// follow in the order of the functions.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zlk::typelib {

inline constexpr std::string_view magic{"ZLKTLB1\0", 8};
inline constexpr std::size_t typeSize = 32, functionSize = 20, parameterSize = 8;
inline constexpr std::size_t longestText = 255;    // bytes, without the zero
inline constexpr std::size_t mostParameters = 32;  // of one function

enum class TypeKind : std::uint32_t { Interface = 1, DualInterface = 2, Class = 3 };
enum class FunctionKind : std::uint32_t { Method = 1, PropGet = 2, PropPut = 4 };  // as INVOKEKIND
inline constexpr std::uint16_t in = 1, out = 2, retval = 8;                        // as PARAMFLAG

/// The VARTYPEs that a definition file can use.
enum class ValueType : std::uint16_t {
    Short = 2,
    Long = 3,
    Bstr = 8,
    Variant = 12,
    Byte = 17,
    ULong = 19,
};
inline constexpr std::uint16_t byReference = 0x4000;  // VT_BYREF

}  // namespace zlk::typelib
