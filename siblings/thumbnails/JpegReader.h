#pragma once
// Decodes a JPEG file and scales its picture down meanwhile.
//
// The library reports an error by calling a function that must not return, and it isn't written for
// C++ exceptions. So that function jumps back (longjmp) into the method that is running. A method
// with a setjmp therefore has nothing to destroy between the setjmp and its end.

#include <csetjmp>
#include <cstdio>
#include <optional>

#include <jpeglib.h>

#include "siblings/thumbnails/ByteSource.h"
#include "siblings/thumbnails/Picture.h"

namespace zlk {

class JpegReader {
  public:
    /// The source is borrowed and must outlive the reader.
    explicit JpegReader(ByteSource& source);
    ~JpegReader() { jpeg_destroy_decompress(&info_); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    /// Reads the header and returns the picture's size. Nothing if the source isn't a JPEG with a
    /// readable header, if the picture has an unknown kind of colours, or if the picture is so
    /// large that decoding would take too long.
    std::optional<Size> open();

    /// Decodes the picture and scales it down to `size`, which must not exceed the picture's own
    /// size. Nothing if a scan is cut off, or if the picture is badly damaged, has too many bytes
    /// or scans, or needs too much memory. A progressive picture is kept in memory as a whole. To
    /// be called once, after open().
    std::optional<Picture> decode(Size size);

  private:
    /// The reader that a callback of the library belongs to.
    static JpegReader& self(j_common_ptr info) {
        return *static_cast<JpegReader*>(info->client_data);
    }
    // Callbacks of the library.
    [[noreturn]] static void fail(j_common_ptr info);
    static void warn(j_common_ptr info, int level);
    static void watchScans(j_common_ptr info);
    static boolean fill(j_decompress_ptr info);
    static void skip(j_decompress_ptr info, long count);

    // The steps that call the library; false after an error.
    bool readHeader();
    bool start(Size size);
    bool readRow(BYTE* row);

    ByteSource& source_;
    jpeg_decompress_struct info_{};
    jpeg_error_mgr errors_{};
    jpeg_source_mgr input_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf failure_{};  // where the step that is running continues after an error
    std::size_t inputLeft_;   // bytes that may still be read from the source
    BYTE buffer_[16 * 1024];
};

}  // namespace zlk
