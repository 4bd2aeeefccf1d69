#pragma once
// The EXIF block of a JPEG file: how the camera was held, and the camera's own thumbnail.

#include <memory>
#include <span>

#include "siblings/thumbnails/Picture.h"

struct _ExifData;

namespace zlk {

class ExifBlock {
  public:
    /// `head` has the first bytes of a JPEG file and may be destroyed afterwards. Without a
    /// readable block, the picture counts as upright and has no thumbnail.
    explicit ExifBlock(std::span<const BYTE> head);

    /// As the camera recorded it; upright if there is no record, or if the value is invalid.
    Orientation orientation() const;
    /// The bytes of the embedded thumbnail, which may be no picture; empty if there is none. Valid
    /// as long as this object.
    std::span<const BYTE> thumbnail() const;

  private:
    struct Unref {
        void operator()(_ExifData* data) const;
    };
    std::unique_ptr<_ExifData, Unref> data_;
};

}  // namespace zlk
