#include "tools/samplecard/JpegFile.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <jpeglib.h>

// On an error the library's own handler prints a message and ends the program. This is enough here.
std::vector<std::uint8_t> encodeJpeg(const Raster& raster, int quality,
                                     std::span<const std::uint8_t> exif) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* output = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &output, &size);
    info.image_width = static_cast<JDIMENSION>(raster.width);
    info.image_height = static_cast<JDIMENSION>(raster.height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.write_JFIF_header = exif.empty();  // an EXIF block has to be the first segment
    jpeg_start_compress(&info, TRUE);
    if (!exif.empty()) {
        jpeg_write_marker(&info, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    }
    const std::size_t rowSize = static_cast<std::size_t>(raster.width) * 3;
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&raster.rgb[rowSize * info.next_scanline]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owner(output, std::free);
    return {output, output + size};
}
