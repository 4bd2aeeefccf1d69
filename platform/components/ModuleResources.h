#pragma once
// The resources of a loaded module, which are ELF notes (cmake/Resources.cmake draws them).

#include <link.h>

#include <span>
#include <string_view>

#include "platform/types.h"

/// A note where it is mapped: this header, the owner's name, the description.
struct ModuleResource {
    ElfW(Nhdr) note;
};

namespace zlk::platform {

/// What a resource is found by; the type is a number, or a name with `type` 0.
struct ResourceKey {
    WORD id;
    WORD type;
    std::string_view typeName;
};

/// Null if the module has none such. Notes that don't lie whole in what the module has mapped end
/// the search: nothing behind them can be trusted to be a note.
HRSRC findResourceNote(const link_map& module, const ResourceKey& key) noexcept;

/// The resource's own bytes.
std::span<const std::byte> resourceBytes(const ModuleResource& resource) noexcept;

}  // namespace zlk::platform
