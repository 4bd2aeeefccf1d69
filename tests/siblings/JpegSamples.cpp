#include "tests/siblings/JpegSamples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

namespace zlk::test {
namespace {

std::string number(std::uint32_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

std::string entry(int tag, int type, std::uint32_t value) {
    return number(tag, 2) + number(type, 2) + number(1, 4) + number(value, 4);
}

Colour colourAt(const Quarters& picture, int x, int y) {
    return picture.colours[(y >= picture.height / 2 ? 2 : 0) + (x >= picture.width / 2 ? 1 : 0)];
}

std::vector<JSAMPLE> rowOf(const Quarters& picture, int y, Form form) {
    std::vector<JSAMPLE> row;
    for (int x = 0; x < picture.width; ++x) {
        const Colour colour = colourAt(picture, x, y);
        if (form == Form::Grey) {
            row.push_back(static_cast<JSAMPLE>(colour[0]));
            continue;
        }
        for (const int light : colour) row.push_back(static_cast<JSAMPLE>(light));
        if (form == Form::Cmyk || form == Form::ProgressiveCmyk)
            row.push_back(255);  // upside down, as such files have it
    }
    return row;
}

}  // namespace

std::string jpegOf(const Quarters& picture, const std::string& exif, Form form) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* output = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &output, &size);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    const bool cmyk = form == Form::Cmyk || form == Form::ProgressiveCmyk;
    info.input_components = form == Form::Grey ? 1 : cmyk ? 4 : 3;
    info.in_color_space = form == Form::Grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&info);
    if (form == Form::Progressive || form == Form::ProgressiveCmyk) jpeg_simple_progression(&info);
    info.write_JFIF_header = exif.empty();
    jpeg_start_compress(&info, TRUE);
    if (!exif.empty()) {
        jpeg_write_marker(&info, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                          static_cast<unsigned>(exif.size()));
    }
    std::vector<JSAMPLE> halves[] = {rowOf(picture, 0, form), rowOf(picture, picture.height, form)};
    for (int y = 0; y < picture.height; ++y) {
        JSAMPROW row = halves[y >= picture.height / 2].data();
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string jpeg(reinterpret_cast<char*>(output), size);
    std::free(output);
    return jpeg;
}

std::string exifOf(int orientation, const std::string& thumbnail) {
    std::string block("Exif\0\0II*\0", 10);
    block += number(8, 4) + number(1, 2) + entry(0x112, 3, orientation);
    if (thumbnail.empty()) return block + number(0, 4);
    const std::uint32_t next = 8 + 2 + 12 + 4;
    block += number(next, 4) + number(2, 2);
    block += entry(0x201, 4, next + 2 + 2 * 12 + 4);
    block += entry(0x202, 4, static_cast<std::uint32_t>(thumbnail.size()));
    return block + number(0, 4) + thumbnail;
}

Quarters quartersOf(const std::string& jpeg) {
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

bool looksLike(const Quarters& a, const Quarters& b) {
    for (int i = 0; i < 4; ++i)
        for (int c = 0; c < 3; ++c)
            if (std::abs(a.colours[i][c] - b.colours[i][c]) > 12) return false;
    return a.width == b.width && a.height == b.height;
}

}  // namespace zlk::test
