#include "tools/zlkcam/unload/PictureDate.h"

#include <algorithm>
#include <string_view>

namespace zlk {
namespace {

using namespace std::string_view_literals;

/// An unsigned number; 0 where there are too few bytes.
std::uint64_t numberIn(std::string_view bytes, std::size_t at, std::size_t width,
                       bool isBigEndian) {
    if (at > bytes.size() || bytes.size() - at < width) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i)
        number =
            number << 8 | static_cast<unsigned char>(bytes[at + (isBigEndian ? i : width - 1 - i)]);
    return number;
}

/// The two directories of a TIFF or EXIF block in which dates are, read where they lie: libexif,
/// which loads all of a block, takes seconds for one that was made to take long.
class TiffBlock {
  public:
    explicit TiffBlock(std::string_view bytes) : bytes_(bytes) {}

    /// RAW files of some makers have a number of their own behind the byte order.
    static bool isAt(std::string_view bytes) {
        constexpr std::string_view starts[] = {"II*\0"sv, "MM\0*"sv, "IIU\0"sv,
                                               "IIRO"sv,  "IIRS"sv,  "MMOR"sv};
        return std::ranges::any_of(
            starts, [&](std::string_view start) { return bytes.starts_with(start); });
    }

    std::optional<LocalTime> taken() const {
        enum Tag : unsigned {
            changed = 0x0132,
            exifDirectory = 0x8769,
            original = 0x9003,
            digitized = 0x9004
        };
        const std::size_t first = number(4, 4);
        const std::size_t entry = entryOf(first, exifDirectory);
        const std::size_t exif = entry == 0 ? 0 : number(entry + 8, 4);
        for (const unsigned tag : {original, digitized, changed})
            for (const std::size_t directory : {exif, first})
                if (const auto time = timeOf(directory, tag)) return time;
        return std::nullopt;
    }

  private:
    std::size_t number(std::size_t at, std::size_t width) const {
        return numberIn(bytes_, at, width, bytes_.front() == 'M');
    }
    /// Where a directory has what is said of a tag; 0 if it says nothing.
    std::size_t entryOf(std::size_t directory, unsigned tag) const {
        constexpr std::size_t entrySize = 12;
        if (directory == 0) return 0;
        const std::size_t count = number(directory, 2);
        std::size_t entry = directory + 2;
        for (std::size_t i = 0; i < count && entry + entrySize <= bytes_.size(); ++i) {
            if (number(entry, 2) == tag) return entry;
            entry += entrySize;
        }
        return 0;
    }
    std::optional<LocalTime> timeOf(std::size_t directory, unsigned tag) const {
        const std::size_t entry = entryOf(directory, tag);
        if (entry == 0) return std::nullopt;
        const std::size_t length = number(entry + 4, 4), at = number(entry + 8, 4);
        if (at > bytes_.size()) return std::nullopt;
        const auto time = localTimeIn(bytes_.substr(at, length));
        return time && isPlausible(*time) ? time : std::nullopt;
    }

    std::string_view bytes_;
};

/// What follows the first `marker` that a TIFF block follows; empty if there is none.
std::string_view tiffBehind(std::string_view head, std::string_view marker) {
    for (std::size_t at = 0; (at = head.find(marker, at)) != head.npos;) {
        at += marker.size();
        if (TiffBlock::isAt(head.substr(at))) return head.substr(at);
    }
    return {};
}

/// The file's TIFF block: itself, or what JPEG, HEIF and RAW files with other frames hold.
std::string_view tiffIn(std::string_view head) {
    if (TiffBlock::isAt(head)) return head;
    const std::string_view exif = tiffBehind(head, "Exif\0\0"sv);
    const bool isIsoFile = head.size() > 4 && head.substr(4).starts_with("ftyp");
    // RAW files of that kind have the EXIF directory in a box of its own, as a block's first one.
    return exif.empty() && isIsoFile ? tiffBehind(head, "CMT2") : exif;
}

/// When a video was begun, as the header of its movie box has it.
std::optional<LocalTime> movieTime(std::string_view head) {
    struct Form {
        std::string_view start;  // size, type and version
        std::size_t timeBytes;
    };
    constexpr Form forms[] = {{"\0\0\0\x6Cmvhd\0"sv, 4}, {"\0\0\0\x78mvhd\1"sv, 8}};
    constexpr std::size_t flagBytes = 3;
    for (const Form& form : forms) {
        const std::size_t at = head.find(form.start);
        if (at == head.npos) continue;
        constexpr std::uint64_t from1904To1970 = 2082844800;
        const std::uint64_t since1904 =
            numberIn(head, at + form.start.size() + flagBytes, form.timeBytes, true);
        const auto time = localTimeOf(static_cast<std::int64_t>(since1904 - from1904To1970));
        if (time && isPlausible(*time)) return time;
    }
    return std::nullopt;
}

}  // namespace

std::optional<LocalTime> pictureDate(std::span<const std::byte> head) {
    head = head.first(std::min(head.size(), pictureHeadSize));
    const std::string_view bytes(reinterpret_cast<const char*>(head.data()), head.size());
    const std::string_view tiff = tiffIn(bytes);
    const auto taken = tiff.empty() ? std::nullopt : TiffBlock(tiff).taken();
    return taken ? taken : movieTime(bytes);
}

}  // namespace zlk
