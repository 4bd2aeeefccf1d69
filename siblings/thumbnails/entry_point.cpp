// The entry point of the thumbnail library.

#include <algorithm>
#include <new>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/error.h"
#include "siblings/thumbnails/Thumbnail.h"

namespace {

// Pixels in one direction. Nothing larger is a thumbnail, and this limits the memory of the result.
constexpr std::int32_t maxLength = 1024;

// The bytes that are handed out, valid until the thread's next call.
thread_local std::vector<BYTE> lastThumbnail;

/// Checks the arguments, and turns exceptions into results.
zlk::Thumbnail makeChecked(const WCHAR* path, std::int32_t width, std::int32_t height) {
    const bool terminated = path && std::find(path, path + MAX_PATH, u'\0') != path + MAX_PATH;
    if (!terminated || width < 1 || height < 1) {
        return {thumbnailErrorUnknown, ERROR_INVALID_PARAMETER, {}};
    }
    try {
        return zlk::makeThumbnail(path, {std::min(width, maxLength), std::min(height, maxLength)});
    } catch (const std::bad_alloc&) {
        return {thumbnailErrorUnknown, ERROR_NOT_ENOUGH_MEMORY, {}};
    } catch (...) {
        return {thumbnailErrorUnknown, ERROR_GEN_FAILURE, {}};
    }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) std::int32_t
ZLGenerateThumbnailCompressedBufferInForeGround(WCHAR* path, std::int32_t width,
                                                std::int32_t height, std::int32_t /*flags*/,
                                                BYTE** buffer, DWORD* size, std::int32_t* second,
                                                std::int32_t* extendedError) noexcept {
    zlk::Thumbnail thumbnail = makeChecked(path, width, height);
    lastThumbnail = std::move(thumbnail.jpeg);
    if (buffer) *buffer = lastThumbnail.data();
    if (size) *size = static_cast<DWORD>(lastThumbnail.size());
    if (second) *second = 0;
    if (extendedError) *extendedError = static_cast<std::int32_t>(thumbnail.error);
    return thumbnail.result;
}
