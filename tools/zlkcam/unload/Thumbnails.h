#pragma once
// The thumbnails of a device's pictures, as many as a page can show.

#include <cstdint>
#include <string>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Session.h"

namespace zlk {

class Thumbnails {
  public:
    /// It stays the caller's.
    explicit Thumbnails(const PhotoSession& session) : session_(session) {}

    /// A JPEG picture; empty where there is none, or a stop is wished. Whatever keeps one from
    /// being made is no failure of the file.
    std::string of(const FileRecord& record);

    std::size_t made() const { return made_; }
    /// Whether some were left out since there are too many.
    bool isCut() const { return isCut_; }

  private:
    const PhotoSession& session_;
    std::size_t made_ = 0;
    std::uint64_t bytes_ = 0;
    bool isCut_ = false;
    bool isDeviceGone_ = false;
};

}  // namespace zlk
