#pragma once
// Pictures for the tests of thumbnails, and their pixels.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace zlk::test {

using Colour = std::array<int, 3>;
inline constexpr Colour red{200, 40, 40}, green{40, 180, 40}, blue{40, 40, 200},
    white{240, 240, 240}, grey{128, 128, 128};

/// A picture of four quarters: upper left, upper right, lower left, lower right.
struct Quarters {
    int width, height;
    std::array<Colour, 4> colours;
};

enum class Form { Plain, Progressive, Grey, Cmyk, ProgressiveCmyk };

/// As a JPEG, with `exif` in front unless that is empty.
inline std::string jpegOf(const Quarters& picture, const std::string& exif = {},
                          Form form = Form::Plain) {
    const bool isGrey = form == Form::Grey;
    const bool isCmyk = form == Form::Cmyk || form == Form::ProgressiveCmyk;
    std::vector<JSAMPLE> rows[2];  // of the upper and of the lower half
    for (int half = 0; half < 2; ++half) {
        for (int x = 0; x < picture.width; ++x) {
            const Colour& colour = picture.colours[half * 2 + (x >= picture.width / 2)];
            rows[half].insert(rows[half].end(), colour.begin(), colour.end() - (isGrey ? 2 : 0));
            if (isCmyk) rows[half].push_back(255);  // upside down, as such files have it
        }
    }
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* output = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &output, &size);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    info.input_components = isGrey ? 1 : isCmyk ? 4 : 3;
    info.in_color_space = isGrey ? JCS_GRAYSCALE : isCmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&info);
    if (form == Form::Progressive || form == Form::ProgressiveCmyk) jpeg_simple_progression(&info);
    info.write_JFIF_header = exif.empty();
    jpeg_start_compress(&info, TRUE);
    if (!exif.empty()) {
        jpeg_write_marker(&info, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                          static_cast<unsigned>(exif.size()));
    }
    for (int y = 0; y < picture.height; ++y) {
        JSAMPROW row = rows[y >= picture.height / 2].data();
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string jpeg(reinterpret_cast<char*>(output), size);
    std::free(output);
    return jpeg;
}

inline std::string number(std::uint32_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

inline std::string entry(int tag, int type, std::uint32_t value) {
    return number(tag, 2) + number(type, 2) + number(1, 4) + number(value, 4);
}

/// An EXIF block with an orientation and, unless it is empty, a thumbnail.
inline std::string exifOf(int orientation, const std::string& thumbnail = {}) {
    std::string block("Exif\0\0II*\0", 10);
    block += number(8, 4) + number(1, 2) + entry(0x112, 3, orientation);
    if (thumbnail.empty()) return block + number(0, 4);
    const std::uint32_t next = 8 + 2 + 12 + 4;
    block += number(next, 4) + number(2, 2);
    block += entry(0x201, 4, next + 2 + 2 * 12 + 4);
    block += entry(0x202, 4, static_cast<std::uint32_t>(thumbnail.size()));
    return block + number(0, 4) + thumbnail;
}

/// What a JPEG shows, by the middles of its quarters. Ends the process if it doesn't decode.
inline Quarters quartersOf(const std::string& jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    const std::size_t rowSize = static_cast<std::size_t>(info.output_width) * 3;
    std::vector<JSAMPLE> pixels(rowSize * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = &pixels[rowSize * info.output_scanline];
        jpeg_read_scanlines(&info, &row, 1);
    }
    Quarters seen{static_cast<int>(info.output_width), static_cast<int>(info.output_height), {}};
    for (int i = 0; i < 4; ++i) {
        const int x = seen.width * (i % 2 * 2 + 1) / 4;
        const int y = seen.height * (i / 2 * 2 + 1) / 4;
        for (int c = 0; c < 3; ++c) seen.colours[i][c] = pixels[rowSize * y + x * 3 + c];
    }
    jpeg_destroy_decompress(&info);
    return seen;
}

/// Whether two pictures have one size, and colours that look alike.
inline bool looksLike(const Quarters& a, const Quarters& b) {
    for (int i = 0; i < 4; ++i)
        for (int c = 0; c < 3; ++c)
            if (std::abs(a.colours[i][c] - b.colours[i][c]) > 12) return false;
    return a.width == b.width && a.height == b.height;
}

}  // namespace zlk::test
