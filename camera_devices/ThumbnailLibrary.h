#pragma once
// Loads and calls the thumbnail library, which is a module of its own.

#include <span>
#include <string>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/modules.h"

namespace zlk {

/// The library, loaded as long as this object exists. If it can't be loaded, the object isn't
/// usable(). For one thread.
class ThumbnailLibrary {
  public:
    ThumbnailLibrary() noexcept;
    ~ThumbnailLibrary();
    ThumbnailLibrary(const ThumbnailLibrary&) = delete;
    ThumbnailLibrary& operator=(const ThumbnailLibrary&) = delete;

    bool loaded() const noexcept { return thumbnailLibrary != nullptr; }
    /// Whether the library is loaded and has its entry point.
    bool usable() const noexcept { return generateThumbnail != nullptr; }

    /// Makes a thumbnail of the picture at `path`, which must not have more than 259 units. Returns
    /// the library's result, 0 for success. `picture` then points to the library's memory, which is
    /// valid until this thread's next call or the end of this object. The object must be usable().
    std::int32_t generate(const std::u16string& path, std::span<const BYTE>& picture,
                          std::int32_t& extendedError);

  private:
    bool InitImageLibrary() noexcept;

    HMODULE thumbnailLibrary = nullptr;
    ThumbnailEntryPoint generateThumbnail = nullptr;
};

}  // namespace zlk
