#include "tools/zlkcam/unload/PictureDate.h"

#include <algorithm>
#include <string_view>

namespace zlk {
namespace {

using namespace std::string_view_literals;

/// An unsigned number at a position; 0 if there are too few bytes, which callers take for "none".
std::uint64_t numberIn(std::string_view bytes, std::size_t at, std::size_t width,
                       bool isBigEndian) {
    if (at > bytes.size() || bytes.size() - at < width) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i)
        number =
            number << 8 | static_cast<unsigned char>(bytes[at + (isBigEndian ? i : width - 1 - i)]);
    return number;
}

/// The two directories of a TIFF or EXIF block that hold dates, read in place. libexif isn't used
/// here: it loads the whole block, and takes seconds for a block that was crafted to be slow.
class TiffBlock {
  public:
    explicit TiffBlock(std::string_view bytes) : bytes_(bytes) {}

    /// Checks for the start of a TIFF block. RAW files of some makers have letters or numbers of
    /// their own instead of 42 after the byte order.
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
        // Tag 0x8769 of the first directory points to the EXIF directory, which has the better
        // dates.
        const std::size_t first = number(4, 4);
        const std::size_t entry = entryOf(first, exifDirectory);
        const std::size_t exif = entry == 0 ? 0 : number(entry + 8, 4);
        // The best date comes first: when the shutter opened, then digitization, and only then the
        // last change, which an editor may have set.
        for (const unsigned tag : {original, digitized, changed})
            for (const std::size_t directory : {exif, first})
                if (const auto time = timeOf(directory, tag)) return time;
        return std::nullopt;
    }

  private:
    std::size_t number(std::size_t at, std::size_t width) const {
        return numberIn(bytes_, at, width, bytes_.front() == 'M');
    }
    /// The position of a tag's entry in a directory; 0 if the directory doesn't have it.
    std::size_t entryOf(std::size_t directory, unsigned tag) const {
        constexpr std::size_t entrySize = 12;
        if (directory == 0) return 0;
        const std::size_t count = number(directory, 2);
        std::size_t entry = directory + 2;
        // The count comes from the file, so the end of the block bounds the loop as well.
        for (std::size_t i = 0; i < count && entry + entrySize <= bytes_.size(); ++i) {
            if (number(entry, 2) == tag) return entry;
            entry += entrySize;
        }
        return 0;
    }
    std::optional<LocalTime> timeOf(std::size_t directory, unsigned tag) const {
        const std::size_t entry = entryOf(directory, tag);
        if (entry == 0) return std::nullopt;
        // A date has 19 characters and doesn't fit into the entry, which holds its position
        // instead.
        const std::size_t length = number(entry + 4, 4), at = number(entry + 8, 4);
        if (at > bytes_.size()) return std::nullopt;
        const auto time = localTimeIn(bytes_.substr(at, length));
        return time && isPlausible(*time) ? time : std::nullopt;
    }

    std::string_view bytes_;
};

/// The TIFF block after the first `marker` that is followed by one; empty if there is none. The
/// marker may also occur in picture data, so each occurrence is checked.
std::string_view tiffBehind(std::string_view head, std::string_view marker) {
    for (std::size_t at = 0; (at = head.find(marker, at)) != head.npos;) {
        at += marker.size();
        if (TiffBlock::isAt(head.substr(at))) return head.substr(at);
    }
    return {};
}

/// The file's TIFF block: the file itself, or the block inside of JPEG, HEIF and RAW containers.
std::string_view tiffIn(std::string_view head) {
    if (TiffBlock::isAt(head)) return head;
    const std::string_view exif = tiffBehind(head, "Exif\0\0"sv);
    const bool isIsoFile = head.size() > 4 && head.substr(4).starts_with("ftyp");
    // RAW files in an ISO container may have no `Exif` marker. In these files the box CMT2 holds a
    // TIFF block whose first directory is the EXIF directory.
    return exif.empty() && isIsoFile ? tiffBehind(head, "CMT2") : exif;
}

/// When recording of a video began, by its movie header. That box has two forms, and is found by
/// its size, type and version, without walking the tree of boxes.
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
        // QuickTime counts seconds since 1904. A value before 1970 becomes negative here, and gives
        // no plausible time.
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
