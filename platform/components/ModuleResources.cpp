#include "platform/components/ModuleResources.h"

#include <algorithm>
#include <cstring>

namespace zlk::platform {
namespace {

constexpr char ownerName[] = "ZlkCamTr";  // its size counts the terminator
constexpr std::size_t ownerRoom = 12;     // the name is padded to whole words of 4 bytes
constexpr DWORD noteType = 1;

/// The head of a description, as cmake/Resources.cmake lays it out.
struct ResourceHead {
    WORD id;
    WORD type;
    char typeName[16];
};
static_assert(sizeof(ResourceHead) == 20);

bool matches(const std::byte* note, const ElfW(Nhdr) & header, const ResourceKey& key) {
    ResourceHead head;
    if (header.n_type != noteType || header.n_namesz != sizeof ownerName ||
        header.n_descsz < sizeof head ||
        std::memcmp(note + sizeof header, ownerName, sizeof ownerName) != 0)
        return false;
    std::memcpy(&head, note + sizeof header + ownerRoom, sizeof head);
    const std::string_view typeName(head.typeName, ::strnlen(head.typeName, sizeof head.typeName));
    return head.id == key.id && head.type == key.type && typeName == key.typeName;
}

/// Finds a resource among the notes of one segment; null if it isn't there. Each note is padded to
/// `alignment` bytes. Our notes are padded to 4 bytes, so none matches if `alignment` is 8.
HRSRC findInNotes(std::span<const std::byte> notes, std::size_t alignment, const ResourceKey& key) {
    const auto padded = [alignment](std::size_t size) {
        return (size + alignment - 1) / alignment * alignment;
    };
    ElfW(Nhdr) header;
    while (notes.size() >= sizeof header) {
        std::memcpy(&header, notes.data(), sizeof header);
        // These sums of 32-bit numbers are computed in 64 bits, so that none of them wraps.
        const std::size_t description = padded(sizeof header + header.n_namesz);
        const std::size_t end = description + header.n_descsz;
        if (end > notes.size()) return nullptr;
        if (alignment == 4 && matches(notes.data(), header, key))
            return reinterpret_cast<HRSRC>(notes.data());
        notes = notes.subspan(std::min(padded(end), notes.size()));
    }
    return nullptr;
}

/// Whether a segment lies within a readable part of the module that is mapped from its file.
bool isMapped(const dl_phdr_info& module, const ElfW(Phdr) & wanted) {
    return std::any_of(
        module.dlpi_phdr, module.dlpi_phdr + module.dlpi_phnum, [&](const ElfW(Phdr) & segment) {
            return segment.p_type == PT_LOAD && (segment.p_flags & PF_R) &&
                   wanted.p_vaddr >= segment.p_vaddr && wanted.p_memsz <= segment.p_filesz &&
                   wanted.p_vaddr - segment.p_vaddr <= segment.p_filesz - wanted.p_memsz;
        });
}

struct Search {
    const link_map& module;
    const ResourceKey& key;
    HRSRC found;
};

// Called for each loaded object; 1 ends the search.
int searchObject(dl_phdr_info* object, std::size_t, void* context) {
    auto& search = *static_cast<Search*>(context);
    if (object->dlpi_addr != search.module.l_addr ||
        std::strcmp(object->dlpi_name, search.module.l_name) != 0)
        return 0;
    for (const ElfW(Phdr) & segment : std::span(object->dlpi_phdr, object->dlpi_phnum)) {
        if (segment.p_type != PT_NOTE || !isMapped(*object, segment)) continue;
        const auto* bytes = reinterpret_cast<const std::byte*>(object->dlpi_addr + segment.p_vaddr);
        search.found =
            findInNotes({bytes, segment.p_memsz}, segment.p_align == 8 ? 8 : 4, search.key);
        if (search.found) break;
    }
    return 1;
}

}  // namespace

HRSRC findResourceNote(const link_map& module, const ResourceKey& key) noexcept {
    Search search{module, key, nullptr};
    ::dl_iterate_phdr(searchObject, &search);
    return search.found;
}

std::span<const std::byte> resourceBytes(const ModuleResource& resource) noexcept {
    const auto* note = reinterpret_cast<const std::byte*>(&resource);
    return {note + sizeof resource + ownerRoom + sizeof(ResourceHead),
            resource.note.n_descsz - sizeof(ResourceHead)};
}

}  // namespace zlk::platform
