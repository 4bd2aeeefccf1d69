#include "tools/zlkcam/unload/PictureDate.h"

#include <libexif/exif-data.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

namespace zlk {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view exifHeader = "Exif\0\0"sv;

/// RAW files of some makers are TIFF files with a number of their own behind the byte order.
bool isTiff(std::string_view bytes) {
    constexpr std::string_view starts[] = {"II*\0"sv, "MM\0*"sv, "IIU\0"sv,
                                           "IIRO"sv,  "IIRS"sv,  "MMOR"sv};
    return std::ranges::any_of(starts,
                               [&](std::string_view start) { return bytes.starts_with(start); });
}

/// What follows the first `marker` that a TIFF block follows; empty if there is none.
std::string_view tiffBehind(std::string_view head, std::string_view marker) {
    for (std::size_t at = 0; (at = head.find(marker, at)) != head.npos;) {
        at += marker.size();
        if (isTiff(head.substr(at))) return head.substr(at);
    }
    return {};
}

/// The file's TIFF block: itself, or what JPEG, HEIF and RAW files with other frames hold.
std::string_view tiffIn(std::string_view head) {
    if (isTiff(head)) return head;
    // The box in which a RAW file of the ISO kind has its EXIF directory, as the block's first one.
    const std::string_view box = tiffBehind(head, "CMT2");
    return box.empty() ? tiffBehind(head, exifHeader) : box;
}

class ExifTimes {
  public:
    explicit ExifTimes(std::string_view tiff) : data_(exif_data_new()) {
        if (!data_) throw std::bad_alloc();
        // A block's first directory may be of tags that belong into another one.
        exif_data_unset_option(data_.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
        exif_data_unset_option(data_.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
        std::string block = std::string(exifHeader).append(tiff);
        constexpr std::string_view intel = "*\0"sv, motorola = "\0*"sv;
        block.replace(exifHeader.size() + 2, 2, tiff.front() == 'I' ? intel : motorola);
        exif_data_load_data(data_.get(), reinterpret_cast<const unsigned char*>(block.data()),
                            static_cast<unsigned>(block.size()));
    }

    std::optional<LocalTime> taken() const {
        for (const ExifTag tag :
             {EXIF_TAG_DATE_TIME_ORIGINAL, EXIF_TAG_DATE_TIME_DIGITIZED, EXIF_TAG_DATE_TIME})
            for (const ExifIfd directory : {EXIF_IFD_EXIF, EXIF_IFD_0})
                if (const auto time = timeOf(directory, tag)) return time;
        return std::nullopt;
    }

  private:
    std::optional<LocalTime> timeOf(ExifIfd directory, ExifTag tag) const {
        const ExifEntry* const entry = exif_content_get_entry(data_->ifd[directory], tag);
        if (!entry || !entry->data) return std::nullopt;
        const auto time = localTimeIn({reinterpret_cast<const char*>(entry->data), entry->size});
        return time && isPlausible(*time) ? time : std::nullopt;
    }

    struct Unref {
        void operator()(ExifData* data) const { exif_data_unref(data); }
    };
    std::unique_ptr<ExifData, Unref> data_;
};

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
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
        const std::size_t timeAt = at + form.start.size() + flagBytes;
        if (head.size() < timeAt + form.timeBytes) continue;
        constexpr std::uint64_t from1904To1970 = 2082844800;
        const std::uint64_t since1904 = bigEndian(head.substr(timeAt, form.timeBytes));
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
    const auto taken = tiff.empty() ? std::nullopt : ExifTimes(tiff).taken();
    return taken ? taken : movieTime(bytes);
}

}  // namespace zlk
