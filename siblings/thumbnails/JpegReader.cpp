#include "siblings/thumbnails/JpegReader.h"

#include <jerror.h>

#include <algorithm>

#include "siblings/thumbnails/AreaScaler.h"

namespace zlk {
namespace {

constexpr long maxPixels = 500'000'000;
// Bytes. A file that only looks like a picture must not be read to its end, and decoding a real
// picture must not take too long.
constexpr std::size_t maxHeaderBytes = 16 * 1024 * 1024;
constexpr std::size_t maxPictureBytes = 128 * 1024 * 1024;
// Bytes. The coefficients of a progressive picture fit if it has up to 40 million pixels and its
// colours have half the width and height.
constexpr long maxMemory = 128L * 1024 * 1024;
// An encoder needs about ten scans. Each costs a pass over the whole picture, however short the
// scan is, so a small file with thousands of them could block a caller.
constexpr int maxScans = 50;

/// Converts a row from CMYK to RGB, in place. `upsideDown` means that the values are inverted, as
/// in files with Adobe's marker.
void cmykToRgb(BYTE* row, JDIMENSION width, bool upsideDown) {
    for (const BYTE* from = row; width > 0; --width, from += 4, row += 3) {
        const int black = upsideDown ? from[3] : 255 - from[3];
        for (int c = 0; c < 3; ++c) {
            const int light = upsideDown ? from[c] : 255 - from[c];
            row[c] = static_cast<BYTE>(light * black / 255);
        }
    }
}

}  // namespace

JpegReader::JpegReader(ByteSource& source) : source_(source), inputLeft_(maxHeaderBytes) {
    info_.err = jpeg_std_error(&errors_);
    errors_.error_exit = fail;
    errors_.emit_message = warn;
    info_.client_data = this;
    input_.init_source = [](j_decompress_ptr) {};
    input_.fill_input_buffer = fill;
    input_.skip_input_data = skip;
    input_.resync_to_restart = jpeg_resync_to_restart;
    input_.term_source = [](j_decompress_ptr) {};
    progress_.progress_monitor = watchScans;
}

void JpegReader::fail(j_common_ptr info) {
    std::longjmp(self(info).failure_, 1);
}

void JpegReader::warn(j_common_ptr info, int level) {
    // This warning means that a scan's data end too early. The library would go on, but the rest of
    // the picture would be grey.
    if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER) fail(info);
}

void JpegReader::watchScans(j_common_ptr info) {
    if (self(info).info_.input_scan_number > maxScans) fail(info);
}

boolean JpegReader::fill(j_decompress_ptr info) {
    JpegReader& reader = self(reinterpret_cast<j_common_ptr>(info));
    std::size_t count =
        reader.source_.read({reader.buffer_, std::min(reader.inputLeft_, sizeof(reader.buffer_))});
    reader.inputLeft_ -= count;
    if (count == 0) {
        // The library looks ahead for the end mark, which some good pictures lack. So it gets one
        // here.
        reader.buffer_[0] = 0xFF;
        reader.buffer_[1] = JPEG_EOI;
        count = 2;
    }
    reader.input_.next_input_byte = reader.buffer_;
    reader.input_.bytes_in_buffer = count;
    return TRUE;
}

void JpegReader::skip(j_decompress_ptr info, long count) {
    jpeg_source_mgr& input = *info->src;
    while (count > 0 && static_cast<std::size_t>(count) > input.bytes_in_buffer) {
        count -= static_cast<long>(input.bytes_in_buffer);
        fill(info);
    }
    if (count > 0) {
        input.next_input_byte += count;
        input.bytes_in_buffer -= static_cast<std::size_t>(count);
    }
}

bool JpegReader::readHeader() {
    if (setjmp(failure_)) return false;
    jpeg_create_decompress(&info_);
    info_.mem->max_memory_to_use = maxMemory;
    info_.src = &input_;
    info_.progress = &progress_;
    return jpeg_read_header(&info_, TRUE) == JPEG_HEADER_OK;
}

std::optional<Size> JpegReader::open() {
    if (!readHeader()) return std::nullopt;
    const bool knownColours =
        info_.num_components == 1 || info_.num_components == 3 || info_.num_components == 4;
    const long pixels = static_cast<long>(info_.image_width) * info_.image_height;
    if (!knownColours || pixels > maxPixels) return std::nullopt;
    return Size{static_cast<int>(info_.image_width), static_cast<int>(info_.image_height)};
}

bool JpegReader::start(Size size) {
    if (setjmp(failure_)) return false;
    info_.out_color_space = info_.num_components == 4 ? JCS_CMYK : JCS_RGB;
    info_.do_fancy_upsampling = FALSE;
    inputLeft_ = maxPictureBytes;
    info_.scale_denom = 8;
    // The library can scale down by itself while it decodes, which saves time. This finds the
    // smallest of 1/8, 1/4, 1/2 and 1 with which the result is at least as large as `size`.
    for (info_.scale_num = 1; info_.scale_num < 8; info_.scale_num *= 2) {
        jpeg_calc_output_dimensions(&info_);
        if (info_.output_width >= static_cast<JDIMENSION>(size.width) &&
            info_.output_height >= static_cast<JDIMENSION>(size.height)) {
            break;
        }
    }
    return jpeg_start_decompress(&info_);
}

bool JpegReader::readRow(BYTE* row) {
    if (setjmp(failure_)) return false;
    return jpeg_read_scanlines(&info_, &row, 1) == 1;
}

std::optional<Picture> JpegReader::decode(Size size) {
    if (!start(size)) return std::nullopt;
    const Size from{static_cast<int>(info_.output_width), static_cast<int>(info_.output_height)};
    std::vector<BYTE> row(static_cast<std::size_t>(from.width) * info_.output_components);
    AreaScaler scaler(from, size);
    for (int y = 0; y < from.height; ++y) {
        if (!readRow(row.data())) return std::nullopt;
        if (info_.output_components == 4) {
            cmykToRgb(row.data(), info_.output_width, info_.saw_Adobe_marker);
        }
        scaler.addRow(row.data());
    }
    return scaler.picture();
}

}  // namespace zlk
