#include "tools/zlkcam/unload/Thumbnails.h"

#include <optional>
#include <span>

#include "platform/file_sinks.h"
#include "tools/zlkcam/unload/FileType.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {
namespace {

// Components make small thumbnails, but a camera may hand over larger ones.
constexpr std::size_t largest = 128 << 10;
// Bytes of all thumbnails of a page, which a browser has to be able to open.
constexpr std::uint64_t largestSum = 64 << 20;
constexpr std::string_view jpegStart = "\xFF\xD8\xFF";

/// Collects a thumbnail in memory, up to the largest allowed size.
class BoundedSink final : public FileSink {
  public:
    bool take(std::span<const std::byte> bytes) override {
        if (bytes.size() > largest - bytes_.size()) return false;
        bytes_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return true;
    }
    std::string& bytes() { return bytes_; }

  private:
    std::string bytes_;
};

/// Whether the component may give a picture, and not just a symbol for the type of file. On a
/// volume the component reads JPEG files only; a camera may have a thumbnail of any picture.
bool isShown(const FileRecord& record) {
    const FileType type = fileTypeOf(record.cameraPath);
    return type == FileType::Jpeg ||
           (!isOnVolume(record) && (type == FileType::Raw || type == FileType::Heif));
}

}  // namespace

std::string Thumbnails::of(const FileRecord& record) {
    if (isDeviceGone_ || StopFlag::raised() || !isShown(record)) return {};
    if (bytes_ >= largestSum) isCut_ = true;
    if (isCut_) return {};
    BoundedSink sink;
    const SinkFile name(sink);
    const Bstr id(record.id), path(name.path());
    const HRESULT result = session_.call(
        [&](IPhotoDevice& device) { return device.SaveThumbnail(id.get(), path.get()); });
    if (result != S_OK) {
        const Failure failure = deviceFailure(session_.errorCode(), session_.device(), "");
        // A device that is gone would make each further picture wait for its timeout.
        isDeviceGone_ = session_.endOf(failure).has_value();
        return {};
    }
    if (!sink.bytes().starts_with(jpegStart)) return {};
    ++made_;
    bytes_ += sink.bytes().size();
    return std::move(sink.bytes());
}

}  // namespace zlk
