#include "tools/zlkcamsim/JpegFacts.h"

#include <algorithm>
#include <optional>

namespace zlk::camsim {
namespace {

/// Reads a TIFF block, which is the body of EXIF. Its first byte says in which order the bytes of
/// numbers stand, and its directories lie at offsets in it.
class Tiff {
  public:
    explicit Tiff(ByteView bytes) : bytes_(bytes) {
        bigEndian_ = !bytes.empty() && bytes[0] == std::byte{'M'};
    }

    // 0 if the bytes aren't there.
    std::uint32_t number(std::size_t offset, std::size_t size) const {
        if (offset > bytes_.size() || bytes_.size() - offset < size) return 0;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value |= std::to_integer<std::uint32_t>(bytes_[offset + i])
                     << 8 * (bigEndian_ ? size - 1 - i : i);
        return value;
    }

    /// The offset of a tag's entry in a directory; none if the directory doesn't have it.
    std::optional<std::size_t> find(std::size_t directory, std::uint32_t tag) const {
        const std::uint32_t count = number(directory, 2);
        for (std::size_t i = 0; i < count; ++i)
            if (number(directory + 2 + 12 * i, 2) == tag) return directory + 2 + 12 * i;
        return std::nullopt;
    }
    std::uint32_t value(std::size_t directory, std::uint32_t tag) const {
        const auto record = find(directory, tag);
        return record ? number(*record + 8, 4) : 0;
    }
    // The offset of the following directory is stored after the last entry.
    std::size_t next(std::size_t directory) const {
        return number(directory + 2 + 12 * number(directory, 2), 4);
    }

    std::string text(std::size_t directory, std::uint32_t tag) const {
        const auto record = find(directory, tag);
        if (!record) return {};
        const std::size_t count = number(*record + 4, 4);
        const std::size_t offset = number(*record + 8, 4);
        // Up to four characters would stand in the entry itself; no date is that short.
        if (count < 5 || offset > bytes_.size() || bytes_.size() - offset < count) return {};
        const auto* start = reinterpret_cast<const char*>(bytes_.data()) + offset;
        return {start, std::find(start, start + count, '\0')};
    }

  private:
    ByteView bytes_;
    bool bigEndian_;
};

void readExif(JpegFacts& facts, ByteView exif, std::size_t offsetInFile) {
    const Tiff tiff(exif);
    const std::size_t first = tiff.number(4, 4);
    // 0x8769 leads to the EXIF directory, and 0x9003 is when the picture was taken.
    facts.captured = tiff.text(tiff.value(first, 0x8769), 0x9003);
    const std::size_t second = tiff.next(first);
    if (!second) return;
    // The second directory describes the thumbnail: its offset and its length.
    const std::size_t offset = tiff.value(second, 0x0201), size = tiff.value(second, 0x0202);
    if (offset >= exif.size() || size > exif.size() - offset) return;
    facts.thumbnailOffset = offsetInFile + offset;
    facts.thumbnailSize = size;
}

std::size_t bigNumber(ByteView bytes) {
    return std::to_integer<std::size_t>(bytes[0]) << 8 | std::to_integer<std::size_t>(bytes[1]);
}

/// Whether a marker begins a frame of any kind, whose header has the picture's size. 0xC4, 0xC8 and
/// 0xCC are in the same range and have other meanings.
bool startsFrame(unsigned marker) {
    return marker == 0xC0 || (marker > 0xC0 && marker <= 0xCF && marker % 4 != 0);
}

}  // namespace

JpegFacts JpegFacts::of(ByteView file) {
    static constexpr std::byte exifMark[]{std::byte{'E'}, std::byte{'x'}, std::byte{'i'},
                                          std::byte{'f'}, std::byte{0},   std::byte{0}};
    JpegFacts facts;
    if (file.size() < 4 || bigNumber(file) != 0xFFD8) return facts;
    // Walks the segments up to the first frame. The EXIF segment stands before it.
    for (std::size_t at = 2; file.size() - at >= 4 && file[at] == std::byte{0xFF};) {
        const auto marker = std::to_integer<unsigned>(file[at + 1]);
        const std::size_t length = bigNumber(file.subspan(at + 2));
        if (length < 2 || length > file.size() - at - 2) break;
        const ByteView segment = file.subspan(at + 4, length - 2);
        if (marker == 0xE1 && segment.size() > sizeof exifMark &&
            std::equal(std::begin(exifMark), std::end(exifMark), segment.begin()))
            readExif(facts, segment.subspan(sizeof exifMark), at + 4 + sizeof exifMark);
        if (startsFrame(marker) && segment.size() >= 5) {
            facts.height = static_cast<std::uint32_t>(bigNumber(segment.subspan(1)));
            facts.width = static_cast<std::uint32_t>(bigNumber(segment.subspan(3)));
            break;
        }
        at += 2 + length;
    }
    return facts;
}

}  // namespace zlk::camsim
