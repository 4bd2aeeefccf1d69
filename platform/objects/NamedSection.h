#pragma once
// A section of shared memory, and the views of sections that this process has.

#include "platform/objects/NamedObject.h"

namespace zlk::platform {

class NamedSection final : public NamedObject {
  public:
    /// `size` is what it gets if it is made here.
    explicit NamedSection(std::uint64_t size) noexcept
        : NamedObject(NamedObjectFile::Kind::Section), size_(size) {}

    /// As MapViewOfFile; `bytes` 0 is to the end.
    void* map(bool writable, std::uint64_t offset, std::uint64_t bytes);
    static bool unmap(const void* view) noexcept;
    static std::size_t viewSize(const void* view) noexcept;

  private:
    bool make() override;
    bool join() override;

    std::uint64_t size_;
};

}  // namespace zlk::platform
