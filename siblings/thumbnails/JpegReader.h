#pragma once
// Decodes a JPEG of any size into a small picture, in little memory.
//
// The library reports its errors by a call that must not return, and knows no C++: so that call
// jumps back into the method that is running, and each method that calls the library is a step
// without anything to destroy between its jump mark and its end.

#include <csetjmp>
#include <cstdio>
#include <optional>

#include <jpeglib.h>

#include "siblings/thumbnails/ByteSource.h"
#include "siblings/thumbnails/Picture.h"

namespace zlk {

class JpegReader {
  public:
    /// The source must live as long as the reader.
    explicit JpegReader(ByteSource& source);
    ~JpegReader() { jpeg_destroy_decompress(&info_); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    /// Reads up to the picture's size. Nothing for what is no JPEG, has no colours that we know, or
    /// is so large that decoding would take unduly long.
    std::optional<Size> open();

    /// The picture at `size`, which must not be larger than it is. Nothing if it breaks off, is
    /// damaged beyond reading, or needs too much memory (a progressive one is kept whole while it
    /// is read). Once only, after `open`.
    std::optional<Picture> decode(Size size);

  private:
    static JpegReader& self(j_common_ptr info) {
        return *static_cast<JpegReader*>(info->client_data);
    }
    [[noreturn]] static void fail(j_common_ptr info);
    static void warn(j_common_ptr info, int level);
    static void watchScans(j_common_ptr info);
    static boolean fill(j_decompress_ptr info);
    static void skip(j_decompress_ptr info, long count);

    bool readHeader();
    bool start(Size size);
    bool readRow(BYTE* row);

    ByteSource& source_;
    jpeg_decompress_struct info_{};
    jpeg_error_mgr errors_{};
    jpeg_source_mgr input_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf failure_{};
    std::size_t inputLeft_;
    BYTE buffer_[16 * 1024];
};

}  // namespace zlk
