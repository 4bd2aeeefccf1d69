#include "platform/automation/TypeLibrary.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace zlk::platform {
namespace {

bool isKnown(typelib::ValueType type) {
    switch (type) {
        using enum typelib::ValueType;
        case Short:
        case Long:
        case Bstr:
        case Variant:
        case Byte:
        case ULong:
            return true;
    }
    return false;
}

// Thrown for bytes that aren't a library; never leaves this file.
struct Malformed {};

void require(bool condition) {
    if (!condition) throw Malformed();
}

// Reads a table from its front and never beyond its end.
class Cursor {
  public:
    explicit Cursor(std::span<const std::byte> bytes) : rest_(bytes) {}

    std::span<const std::byte> take(std::uint64_t size) {
        require(size <= rest_.size());
        const auto taken = rest_.first(static_cast<std::size_t>(size));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    std::uint32_t number(std::size_t size = 4) {
        std::uint32_t value = 0;
        const auto bytes = take(size);
        for (std::size_t i = 0; i < size; ++i)
            value |= std::to_integer<std::uint32_t>(bytes[i]) << 8 * i;
        return value;
    }
    WORD word() { return static_cast<WORD>(number(2)); }
    GUID id() {
        GUID value;
        value.Data1 = number();
        value.Data2 = word();
        value.Data3 = word();
        std::memcpy(value.Data4, take(sizeof value.Data4).data(), sizeof value.Data4);
        return value;
    }
    bool isAtEnd() const { return rest_.empty(); }

  private:
    std::span<const std::byte> rest_;
};

// Reads a library. Each table has a cursor, because the records of one table say how many of the
// next one belong to them.
class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : header_(bytes) {}
    TypeLibrary read();

  private:
    // The text that begins at an offset in the texts; name() doesn't allow an empty one.
    std::u16string text(std::uint32_t at) const;
    std::u16string name(std::uint32_t at) const;
    TypeParameter parameter();
    TypeMember member();
    TypeEntry type();

    Cursor header_, types_{{}}, functions_{{}}, parameters_{{}};
    std::string_view texts_;
};

std::u16string Reader::text(std::uint32_t at) const {
    require(at < texts_.size());
    const std::size_t end = texts_.find('\0', at);
    require(end != texts_.npos && end - at <= typelib::longestText);
    const std::string_view ascii = texts_.substr(at, end - at);
    require(std::ranges::all_of(ascii, [](char c) { return c >= ' ' && c <= '~'; }));
    return {ascii.begin(), ascii.end()};
}

std::u16string Reader::name(std::uint32_t at) const {
    std::u16string text = this->text(at);
    require(!text.empty());
    return text;
}

TypeParameter Reader::parameter() {
    TypeParameter parameter;
    parameter.name = name(parameters_.number());
    const WORD type = parameters_.word();
    parameter.type = static_cast<typelib::ValueType>(type & ~typelib::byReference);
    parameter.isPointer = type & typelib::byReference;
    parameter.flags = parameters_.word();
    require(isKnown(parameter.type));
    const bool isIn = parameter.flags & typelib::in, isOut = parameter.flags & typelib::out;
    const bool isRetval = parameter.flags & typelib::retval;
    require(parameter.flags <= (typelib::in | typelib::out | typelib::retval) && isIn != isOut);
    require(isOut || !isRetval);
    // Out parameters and VARIANTs are passed as pointers, and no others are. MemberCall relies on
    // this rule.
    require(parameter.isPointer == (isOut || parameter.type == typelib::ValueType::Variant));
    return parameter;
}

TypeMember Reader::member() {
    using Kind = typelib::FunctionKind;
    TypeMember member;
    member.name = name(functions_.number());
    member.help = text(functions_.number());
    member.id = static_cast<LONG>(functions_.number());
    member.kind = static_cast<Kind>(functions_.number());
    require(member.kind == Kind::Method || member.kind == Kind::PropGet ||
            member.kind == Kind::PropPut);
    const std::uint32_t count = functions_.number();
    require(count <= typelib::mostParameters);
    while (member.parameters.size() < count) {
        // Nothing may follow the result.
        require(!member.returnsValue());
        member.parameters.push_back(parameter());
    }
    return member;
}

TypeEntry Reader::type() {
    using Kind = typelib::TypeKind;
    TypeEntry type;
    type.id = types_.id();
    type.kind = static_cast<Kind>(types_.number());
    type.name = name(types_.number());
    type.help = text(types_.number());
    const std::uint32_t number = types_.number();
    switch (type.kind) {
        case Kind::Interface:
        case Kind::DualInterface:
            for (std::uint32_t left = number; left > 0; --left) type.members.push_back(member());
            return type;
        case Kind::Class:
            type.defaultInterface = number;
            return type;
    }
    throw Malformed();
}

TypeLibrary Reader::read() {
    const auto magic = header_.take(typelib::magic.size());
    require(std::memcmp(magic.data(), typelib::magic.data(), magic.size()) == 0);
    TypeLibrary library;
    library.id = header_.id();
    library.majorVersion = header_.word();
    library.minorVersion = header_.word();
    library.locale = header_.number();
    const std::uint32_t nameAt = header_.number(), helpAt = header_.number(),
                        importedAt = header_.number();
    const std::uint64_t typeCount = header_.number(), functionCount = header_.number(),
                        parameterCount = header_.number(), textSize = header_.number();
    // take() checks each size against what is left. A 32-bit count times the size of a record can't
    // overflow 64 bits.
    types_ = Cursor(header_.take(typeCount * typelib::typeSize));
    functions_ = Cursor(header_.take(functionCount * typelib::functionSize));
    parameters_ = Cursor(header_.take(parameterCount * typelib::parameterSize));
    const auto texts = header_.take(textSize);
    texts_ = {reinterpret_cast<const char*>(texts.data()), texts.size()};
    require(header_.isAtEnd());

    library.name = name(nameAt);
    library.help = text(helpAt);
    library.imported = text(importedAt);
    while (!types_.isAtEnd()) library.types.push_back(type());
    // Every record belongs to some type, and a class's default interface is in this library.
    require(functions_.isAtEnd() && parameters_.isAtEnd());
    for (const TypeEntry& each : library.types) {
        const bool isClass = each.kind == typelib::TypeKind::Class;
        require(!isClass || (each.defaultInterface < library.types.size() &&
                             library.types[each.defaultInterface].kind != each.kind));
    }
    return library;
}

}  // namespace

std::optional<TypeLibrary> readTypeLibrary(std::span<const std::byte> bytes) try {
    require(bytes.size() <= largestTypeLibrary);
    return Reader(bytes).read();
} catch (const Malformed&) {
    return std::nullopt;
}

}  // namespace zlk::platform
