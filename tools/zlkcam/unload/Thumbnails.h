#pragma once
// Gets the thumbnails of a device's pictures, as many as fit into a page.

#include <cstdint>
#include <string>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Session.h"

namespace zlk {

/// Gives thumbnails until they have as many bytes together as a page may have. Used by one thread
/// at a time.
class Thumbnails {
  public:
    /// The session stays the caller's.
    explicit Thumbnails(const PhotoSession& session) : session_(session) {}

    /// A JPEG picture, or an empty string if there is none, the page is full, the device is gone,
    /// or a stop is wished. A missing thumbnail is never an error of the file.
    std::string of(const FileRecord& record);

    std::size_t made() const { return made_; }
    /// Whether thumbnails were left out because the page would have become too large.
    bool isCut() const { return isCut_; }

  private:
    const PhotoSession& session_;
    std::size_t made_ = 0;
    // Size of all thumbnails together.
    std::uint64_t bytes_ = 0;
    bool isCut_ = false;
    bool isDeviceGone_ = false;
};

}  // namespace zlk
