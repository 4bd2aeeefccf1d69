#pragma once
// A section of shared memory, with or without a name, and the table of the views that this process
// has of all sections.

#include "platform/objects/NamedObject.h"

namespace zlk::platform {

class NamedSection final : public NamedObject {
  public:
    /// `size` is the section's size in bytes, if it is made here.
    explicit NamedSection(std::uint64_t size) noexcept
        : NamedObject(NamedObjectFile::Kind::Section), size_(size) {}

    /// Maps a view, as MapViewOfFile does; `bytes` 0 maps to the section's end. Null with the last
    /// error. Throws std::bad_alloc.
    void* map(bool writable, std::uint64_t offset, std::uint64_t bytes);
    /// Ends a view; false if there is none at that address.
    static bool unmap(const void* view) noexcept;
    /// The bytes that the file still has for a view; 0 if there is no view at that address. In a
    /// forked child a view keeps all of its bytes.
    static std::size_t viewSize(const void* view) noexcept;

  private:
    bool make() override;
    bool join() override;

    std::uint64_t size_;  // bytes; those of an existing section come from its header
};

}  // namespace zlk::platform
