#pragma once
// Loads and calls the thumbnail library, which is a module of its own.

#include <span>
#include <string>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/modules.h"

namespace zlk {

/// The library, loaded as long as this object exists. If the machine doesn't have it, the object
/// isn't usable. For one thread.
class ThumbnailLibrary {
  public:
    ThumbnailLibrary() noexcept;
    ~ThumbnailLibrary();
    ThumbnailLibrary(const ThumbnailLibrary&) = delete;
    ThumbnailLibrary& operator=(const ThumbnailLibrary&) = delete;

    /// Whether the library is loaded; and whether it has its entry point, without which it is
    /// useless.
    bool loaded() const noexcept { return thumbnailLibrary != nullptr; }
    bool usable() const noexcept { return generateThumbnail != nullptr; }

    /// Makes a thumbnail of the picture at `path`, which has at most 259 units. Returns the
    /// library's result, 0 for success. `picture` then points to the library's memory, which is
    /// valid until the next call. The library must be usable.
    std::int32_t generate(const std::u16string& path, std::span<const BYTE>& picture,
                          std::int32_t& extendedError);

  private:
    bool InitImageLibrary() noexcept;

    HMODULE thumbnailLibrary = nullptr;
    ThumbnailEntryPoint generateThumbnail = nullptr;
};

}  // namespace zlk
