#pragma once

#include <span>
#include <string>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/modules.h"

namespace zlk {

/// The thumbnail library, loaded for the life of this object. A machine without it gives an
/// object that isn't usable.
class ThumbnailLibrary {
  public:
    ThumbnailLibrary() noexcept;
    ~ThumbnailLibrary();
    ThumbnailLibrary(const ThumbnailLibrary&) = delete;
    ThumbnailLibrary& operator=(const ThumbnailLibrary&) = delete;

    /// Whether the library is loaded; without its entry point it is of no use.
    bool loaded() const noexcept { return thumbnailLibrary != nullptr; }
    bool usable() const noexcept { return generateThumbnail != nullptr; }

    /// The library's result, 0 for success, with the thumbnail of the picture at `path` in
    /// `picture`, which stays the library's and holds until the next call. `path` has at most
    /// 259 units, the library must be usable.
    std::int32_t generate(const std::u16string& path, std::span<const BYTE>& picture,
                          std::int32_t& extendedError);

  private:
    bool InitImageLibrary() noexcept;

    HMODULE thumbnailLibrary = nullptr;
    ThumbnailEntryPoint generateThumbnail = nullptr;
};

}  // namespace zlk
