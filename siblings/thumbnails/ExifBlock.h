#pragma once
// What a camera tells about a picture in front of it.

#include <memory>
#include <span>

#include "siblings/thumbnails/Picture.h"

struct _ExifData;

namespace zlk {

class ExifBlock {
  public:
    /// `head`: the first bytes of a JPEG file. Without a block that can be read, the picture is
    /// upright and has no thumbnail.
    explicit ExifBlock(std::span<const BYTE> head);

    Orientation orientation() const;
    /// The embedded thumbnail's bytes, whatever they are; they live as long as the block.
    std::span<const BYTE> thumbnail() const;

  private:
    struct Unref {
        void operator()(_ExifData* data) const;
    };
    std::unique_ptr<_ExifData, Unref> data_;
};

}  // namespace zlk
