#include "siblings/thumbnails/JpegWriter.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace zlk {
namespace {

// From 0 to 100, as the library counts it.
constexpr int quality = 85;

/// As in JpegReader, errors of the library jump back into write(), which has nothing to destroy.
class JpegWriter {
  public:
    JpegWriter() {
        info_.err = jpeg_std_error(&errors_);
        errors_.error_exit = [](j_common_ptr info) {
            std::longjmp(static_cast<JpegWriter*>(info->client_data)->failure_, 1);
        };
        errors_.emit_message = [](j_common_ptr, int) {};
        info_.client_data = this;
    }
    ~JpegWriter() {
        jpeg_destroy_compress(&info_);
        std::free(output_);  // the library allocates it
    }
    JpegWriter(const JpegWriter&) = delete;
    JpegWriter& operator=(const JpegWriter&) = delete;

    bool write(const Picture& picture) {
        if (setjmp(failure_)) return false;
        jpeg_create_compress(&info_);
        jpeg_mem_dest(&info_, &output_, &outputSize_);
        info_.image_width = static_cast<JDIMENSION>(picture.size.width);
        info_.image_height = static_cast<JDIMENSION>(picture.size.height);
        info_.input_components = 3;
        info_.in_color_space = JCS_RGB;
        jpeg_set_defaults(&info_);
        jpeg_set_quality(&info_, quality, TRUE);
        info_.optimize_coding = TRUE;
        jpeg_start_compress(&info_, TRUE);
        while (info_.next_scanline < info_.image_height) {
            // The library doesn't change the row, but its interface has no const.
            JSAMPROW row =
                const_cast<BYTE*>(picture.pixel(0, static_cast<int>(info_.next_scanline)));
            jpeg_write_scanlines(&info_, &row, 1);
        }
        jpeg_finish_compress(&info_);
        return true;
    }

    std::vector<BYTE> bytes() const { return {output_, output_ + outputSize_}; }

  private:
    jpeg_compress_struct info_{};
    jpeg_error_mgr errors_{};
    std::jmp_buf failure_{};
    unsigned char* output_ = nullptr;
    unsigned long outputSize_ = 0;
};

}  // namespace

std::optional<std::vector<BYTE>> encodeJpeg(const Picture& picture) {
    JpegWriter writer;
    if (!writer.write(picture)) return std::nullopt;
    return writer.bytes();
}

}  // namespace zlk
