#include "siblings/thumbnails/ExifBlock.h"

#include <libexif/exif-data.h>

namespace zlk {

void ExifBlock::Unref::operator()(_ExifData* data) const {
    exif_data_unref(data);
}

ExifBlock::ExifBlock(std::span<const BYTE> head)
    : data_(exif_data_new_from_data(head.data(), static_cast<unsigned>(head.size()))) {}

Orientation ExifBlock::orientation() const {
    if (!data_) return upright;
    const ExifEntry* entry = exif_content_get_entry(data_->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (!entry || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return upright;
    const int orientation = exif_get_short(entry->data, exif_data_get_byte_order(data_.get()));
    return orientation >= 1 && orientation <= 8 ? orientation : upright;
}

std::span<const BYTE> ExifBlock::thumbnail() const {
    if (!data_ || !data_->data) return {};
    return {data_->data, data_->size};
}

}  // namespace zlk
