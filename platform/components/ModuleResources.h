#pragma once
// Finds the resources of a loaded module, which are ELF notes (cmake/Resources.cmake makes them).

#include <link.h>

#include <span>
#include <string_view>

#include "platform/types.h"

/// A note in the module's memory: this header, then the owner's name and the description.
struct ModuleResource {
    ElfW(Nhdr) note;
};

namespace zlk::platform {

/// What a resource is found by. Its type is a number, or a name with `type` 0.
struct ResourceKey {
    WORD id;
    WORD type;
    std::string_view typeName;
};

/// Finds a resource; null if the module doesn't have it. A note that doesn't lie whole within its
/// segment ends the search of that segment; other segments are still searched.
HRSRC findResourceNote(const link_map& module, const ResourceKey& key) noexcept;

/// The resource's content: the note's description after its head.
std::span<const std::byte> resourceBytes(const ModuleResource& resource) noexcept;

}  // namespace zlk::platform
