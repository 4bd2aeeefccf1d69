#include "camera_devices/ThumbnailLibrary.h"

#include <algorithm>

#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "CMassStorageDev";  // the trace has these lines under that class's name
constexpr std::int32_t thumbnailSide = 160;     // pixels

}  // namespace

ThumbnailLibrary::ThumbnailLibrary() noexcept {
    InitImageLibrary();
}

ThumbnailLibrary::~ThumbnailLibrary() {
    if (thumbnailLibrary) FreeLibrary(thumbnailLibrary);
}

bool ThumbnailLibrary::InitImageLibrary() noexcept {
    TraceLine(category, "InitImageLibrary - start");
    thumbnailLibrary = LoadLibraryW(thumbnailLibraryName);
    if (!thumbnailLibrary) {
        TraceLine(category, "InitImageLibrary Error - zlkthb2.dll would not load");
        return false;
    }
    generateThumbnail = reinterpret_cast<ThumbnailEntryPoint>(
        GetProcAddress(thumbnailLibrary, thumbnailEntryPoint));
    if (!generateThumbnail) {
        TraceLine(category, "InitImageLibrary Error - %s not found", thumbnailEntryPoint);
        return false;
    }
    TraceLine(category, "InitImageLibrary - done");
    return true;
}

std::int32_t ThumbnailLibrary::generate(const std::u16string& path, std::span<const BYTE>& picture,
                                        std::int32_t& extendedError) {
    WCHAR pathBuffer[MAX_PATH]{};
    std::copy_n(path.begin(), std::min<std::size_t>(path.size(), MAX_PATH - 1), pathBuffer);
    BYTE* buffer = nullptr;
    DWORD size = 0;
    std::int32_t second = 0;
    extendedError = 0;
    const std::int32_t result = generateThumbnail(pathBuffer, thumbnailSide, thumbnailSide, 0,
                                                  &buffer, &size, &second, &extendedError);
    picture = buffer ? std::span<const BYTE>(buffer, size) : std::span<const BYTE>();
    return result;
}

}  // namespace zlk
