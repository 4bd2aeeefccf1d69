// Type libraries beside modules.

#include "platform/internal/automation/TypeLibrary.h"

#include "fuzz/Input.h"

using namespace zlk;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto library = platform::readTypeLibrary(std::as_bytes(std::span(data, size)));
    if (!library) return 0;
    fuzz::require(!library->name.empty());
    for (const platform::TypeEntry& type : library->types) {
        fuzz::require(type.kind != typelib::TypeKind::Class ||
                      type.defaultInterface < library->types.size());
        for (const platform::TypeMember& member : type.members)
            for (const platform::TypeParameter& parameter : member.parameters)
                fuzz::require(parameter.isPointer || !(parameter.flags & typelib::out));
    }
    return 0;
}
