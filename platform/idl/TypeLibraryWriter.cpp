#include "TypeLibraryWriter.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

#include "TypeLibraryFormat.h"

namespace zlk::idl {
namespace {

/// The id of the first member of an interface whose members have no dispatch ids. Each further
/// member has the next number.
constexpr std::uint32_t firstMemberId = 0x60010000;

typelib::ValueType valueType(Type type) {
    using enum typelib::ValueType;
    // In the order of the enumerators of Type.
    constexpr typelib::ValueType types[] = {Bstr, Long, Short, ULong, Byte, Variant};
    return types[static_cast<std::size_t>(type)];
}

class Bytes {
  public:
    void put(std::uint32_t number, std::size_t size = 4) {
        for (std::size_t i = 0; i < size; ++i) text += static_cast<char>(number >> 8 * i & 0xFF);
    }
    /// A Guid has its bytes in the order of the text; in the file the first three parts of an id
    /// are little-endian numbers.
    void put(const Guid& id) {
        for (const int place : {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15})
            text += static_cast<char>(id[place]);
    }
    std::uint32_t count(std::size_t recordSize) const {
        return static_cast<std::uint32_t>(text.size() / recordSize);
    }
    std::string text;
};

class TypeLibraryWriter {
  public:
    std::string write(const File& file);

  private:
    // The offset of a text, which is stored once however often it is used.
    std::uint32_t textAt(const std::string& text);
    void add(const Interface& interface);
    void add(const Method& method, std::uint32_t memberId);
    void add(const Parameter& parameter);
    void add(const Coclass& coclass);

    Bytes types_, functions_, parameters_;
    std::string texts_;
    std::unordered_map<std::string, std::uint32_t> textPlaces_;
};

std::uint32_t TypeLibraryWriter::textAt(const std::string& text) {
    const bool isShown = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
    if (!isShown || text.size() > typelib::longestText)
        throw std::runtime_error("too long for a type library, or not in ASCII: " + text);
    const auto [known, isNew] =
        textPlaces_.try_emplace(text, static_cast<std::uint32_t>(texts_.size()));
    if (isNew) texts_.append(text).push_back('\0');
    return known->second;
}

void TypeLibraryWriter::add(const Parameter& parameter) {
    parameters_.put(textAt(parameter.name));
    parameters_.put(static_cast<std::uint32_t>(valueType(parameter.type)) |
                        (parameter.pointer ? typelib::byReference : 0u),
                    2);
    parameters_.put((parameter.in ? typelib::in : 0u) | (parameter.out ? typelib::out : 0u) |
                        (parameter.retval ? typelib::retval : 0u),
                    2);
}

void TypeLibraryWriter::add(const Method& method, std::uint32_t memberId) {
    using Kind = typelib::FunctionKind;
    const auto kind = method.kind == MethodKind::PropGet   ? Kind::PropGet
                      : method.kind == MethodKind::PropPut ? Kind::PropPut
                                                           : Kind::Method;
    functions_.put(textAt(method.name));
    functions_.put(textAt(method.helpString));
    functions_.put(memberId);
    functions_.put(static_cast<std::uint32_t>(kind));
    functions_.put(static_cast<std::uint32_t>(method.parameters.size()));
    for (const Parameter& parameter : method.parameters) add(parameter);
}

void TypeLibraryWriter::add(const Interface& interface) {
    using Kind = typelib::TypeKind;
    types_.put(interface.id);
    types_.put(static_cast<std::uint32_t>(interface.dual ? Kind::DualInterface : Kind::Interface));
    types_.put(textAt(interface.name));
    types_.put(textAt(interface.helpString));
    types_.put(static_cast<std::uint32_t>(interface.methods.size()));
    std::uint32_t memberId = firstMemberId;
    for (const Method& method : interface.methods) {
        const auto own = static_cast<std::uint32_t>(method.dispatchId.value_or(0));
        add(method, method.dispatchId ? own : memberId);
        ++memberId;
    }
}

void TypeLibraryWriter::add(const Coclass& coclass) {
    types_.put(coclass.id);
    types_.put(static_cast<std::uint32_t>(typelib::TypeKind::Class));
    types_.put(textAt(coclass.name));
    types_.put(textAt(coclass.helpString));
    types_.put(static_cast<std::uint32_t>(coclass.interface));
}

std::string TypeLibraryWriter::write(const File& file) {
    // Interfaces come first, because classes name them by their place.
    for (const Interface& interface : file.interfaces) add(interface);
    for (const Coclass& coclass : file.library.coclasses) add(coclass);
    Bytes header;
    header.text = typelib::magic;
    header.put(file.library.id);
    header.put(file.library.majorVersion, 2);
    header.put(file.library.minorVersion, 2);
    header.put(file.library.locale);
    header.put(textAt(file.library.name));
    header.put(textAt(file.library.helpString));
    header.put(textAt(file.library.import));
    header.put(types_.count(typelib::typeSize));
    header.put(functions_.count(typelib::functionSize));
    header.put(parameters_.count(typelib::parameterSize));
    header.put(static_cast<std::uint32_t>(texts_.size()));
    return header.text + types_.text + functions_.text + parameters_.text + texts_;
}

}  // namespace

std::string writeTypeLibrary(const File& file) {
    return TypeLibraryWriter().write(file);
}

}  // namespace zlk::idl
