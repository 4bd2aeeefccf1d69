#include "tools/samplecard/ExifWriter.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr ExifByteOrder byteOrder = EXIF_BYTE_ORDER_INTEL;

/// Allocates with malloc, because the library frees this memory with free.
void* allocate(std::size_t size) {
    void* const memory = std::malloc(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

/// An EXIF block that is being filled, in terms of the library's C structures.
class Block {
  public:
    Block() : data_(exif_data_new()) {
        if (!data_) throw std::bad_alloc();
        exif_data_set_byte_order(data_.get(), byteOrder);
    }

    void addBytes(ExifIfd ifd, ExifTag tag, ExifFormat format, unsigned long count,
                  const void* bytes, unsigned size) {
        // The block takes a reference of its own; this one is released at the end of the function.
        const std::unique_ptr<ExifEntry, decltype(&exif_entry_unref)> entry(exif_entry_new(),
                                                                            exif_entry_unref);
        if (!entry) throw std::bad_alloc();
        entry->tag = tag;
        entry->format = format;
        entry->components = count;
        entry->size = size;
        entry->data = static_cast<unsigned char*>(allocate(size));
        std::memcpy(entry->data, bytes, size);
        exif_content_add_entry(data_->ifd[ifd], entry.get());
    }
    void addText(ExifIfd ifd, ExifTag tag, const std::string& text) {
        // A text's count includes its terminating zero.
        const auto size = static_cast<unsigned>(text.size() + 1);
        addBytes(ifd, tag, EXIF_FORMAT_ASCII, size, text.c_str(), size);
    }
    void addShort(ExifIfd ifd, ExifTag tag, int value) {
        unsigned char bytes[2];
        exif_set_short(bytes, byteOrder, static_cast<ExifShort>(value));
        addBytes(ifd, tag, EXIF_FORMAT_SHORT, 1, bytes, sizeof(bytes));
    }
    void addLong(ExifIfd ifd, ExifTag tag, int value) {
        unsigned char bytes[4];
        exif_set_long(bytes, byteOrder, static_cast<ExifLong>(value));
        addBytes(ifd, tag, EXIF_FORMAT_LONG, 1, bytes, sizeof(bytes));
    }
    void addRational(ExifIfd ifd, ExifTag tag, unsigned numerator, unsigned denominator) {
        unsigned char bytes[8];
        exif_set_rational(bytes, byteOrder, {numerator, denominator});
        addBytes(ifd, tag, EXIF_FORMAT_RATIONAL, 1, bytes, sizeof(bytes));
    }
    void addVersion(ExifTag tag, const char (&version)[5]) {
        addBytes(EXIF_IFD_EXIF, tag, EXIF_FORMAT_UNDEFINED, 4, version, 4);
    }
    // 72 dots per inch, the customary value of a picture without a physical size.
    void addResolution(ExifIfd ifd) {
        addRational(ifd, EXIF_TAG_X_RESOLUTION, 72, 1);
        addRational(ifd, EXIF_TAG_Y_RESOLUTION, 72, 1);
        addShort(ifd, EXIF_TAG_RESOLUTION_UNIT, 2);
    }
    void setThumbnail(const std::vector<std::uint8_t>& jpeg) {
        // 6 means JPEG.
        addShort(EXIF_IFD_1, EXIF_TAG_COMPRESSION, 6);
        addResolution(EXIF_IFD_1);
        // The library keeps the thumbnail apart from the entries, and writes it to the end of the
        // block.
        data_->data = static_cast<unsigned char*>(allocate(jpeg.size()));
        data_->size = static_cast<unsigned>(jpeg.size());
        std::memcpy(data_->data, jpeg.data(), jpeg.size());
    }

    std::vector<std::uint8_t> bytes() const {
        unsigned char* saved = nullptr;
        unsigned size = 0;
        exif_data_save_data(data_.get(), &saved, &size);
        const std::unique_ptr<unsigned char, decltype(&std::free)> owner(saved, std::free);
        if (!saved) throw std::bad_alloc();
        return {saved, saved + size};
    }

  private:
    struct Unref {
        void operator()(ExifData* data) const { exif_data_unref(data); }
    };
    std::unique_ptr<ExifData, Unref> data_;
};

}  // namespace

std::vector<std::uint8_t> exifBlock(const ShotData& shot) {
    Block block;
    // The first directory describes the camera and the file.
    block.addText(EXIF_IFD_0, EXIF_TAG_MAKE, shot.maker);
    block.addText(EXIF_IFD_0, EXIF_TAG_MODEL, shot.model);
    block.addShort(EXIF_IFD_0, EXIF_TAG_ORIENTATION, shot.orientation);
    block.addResolution(EXIF_IFD_0);
    block.addText(EXIF_IFD_0, EXIF_TAG_DATE_TIME, shot.date);
    block.addShort(EXIF_IFD_0, EXIF_TAG_YCBCR_POSITIONING, 1);

    // The EXIF directory describes the shot.
    block.addVersion(EXIF_TAG_EXIF_VERSION, "0220");
    block.addVersion(EXIF_TAG_FLASH_PIX_VERSION, "0100");
    block.addBytes(EXIF_IFD_EXIF, EXIF_TAG_COMPONENTS_CONFIGURATION, EXIF_FORMAT_UNDEFINED, 4,
                   "\1\2\3\0", 4);
    block.addText(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, shot.date);
    block.addText(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_DIGITIZED, shot.date);
    block.addRational(EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME, 1, 250);
    block.addRational(EXIF_IFD_EXIF, EXIF_TAG_FNUMBER, 28, 10);
    block.addShort(EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS, 100);
    block.addShort(EXIF_IFD_EXIF, EXIF_TAG_COLOR_SPACE, 1);
    block.addLong(EXIF_IFD_EXIF, EXIF_TAG_PIXEL_X_DIMENSION, shot.width);
    block.addLong(EXIF_IFD_EXIF, EXIF_TAG_PIXEL_Y_DIMENSION, shot.height);

    block.setThumbnail(shot.thumbnail);
    return block.bytes();
}
