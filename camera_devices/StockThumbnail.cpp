#include "camera_devices/StockThumbnail.h"

#include "camera_devices/PcFile.h"
#include "camera_devices/ThumbnailLibrary.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "platform/files.h"

namespace zlk {
namespace {

constexpr char category[] = "CImageDev";

// Units. The library takes paths of up to 259 units, so only the end of a longer name is kept. The
// end shows the file's kind.
constexpr std::size_t longestName = 64;

/// A path for a temporary file of the same kind as `name`.
std::u16string emptyFilePath(const std::u16string& name) {
    std::u16string last = fileNamePart(name);
    if (last.size() > longestName) last.erase(0, last.size() - longestName);
    // The cut may have gone through a surrogate pair.
    if (!last.empty() && (last.front() & 0xFC00) == 0xDC00) last.erase(0, 1);
    if (last.find_first_not_of(u' ') == last.npos || last == u"." || last == u"..")
        last = u"unnamed";
    return joinPath(GetTempDir(), last);
}

}  // namespace

/// The library makes a stock picture for a file that it can't decode, so it is given an empty file.
DeviceCode GetStockThumbnail(const std::u16string& name, const std::u16string& fileName) {
    TraceLine(category, "GetStockThumbnail(%s,%s)", name, fileName);
    ThumbnailLibrary library;
    if (!library.usable()) {
        TraceLine(category,
                  library.loaded()
                      ? "GetStockThumbnail - couldn't get ProcAddress for GenrateThumbnail"
                      : "GetStockThumbnail - couldn't load zlkthbg2.dll");
        return DeviceCode::ReadFailed;
    }
    const std::u16string temp = emptyFilePath(name);
    if (!createPcFile(temp)) {
        TraceLine(category, "GetStockThumbnail - couldn't create empty temp file");
        return DeviceCode::PcFileUnusable;
    }
    std::span<const BYTE> picture;
    std::int32_t extendedError = 0;
    if (library.generate(temp, picture, extendedError) != 0 || picture.empty()) {
        TraceLine(category, "GetStockThumbnail - couldn't get thumbnail");
        return DeviceCode::ReadFailed;
    }
    const UniqueHandle file = createPcFile(fileName);
    if (!file) {
        TraceLine(category, "GetStockThumbnail - couldn't write thumbnail file");
        return DeviceCode::PcFileUnusable;
    }
    if (writePcFile(file.get(), picture) != DeviceCode::Success) {
        TraceLine(category, "GetStockThumbnail - error write thumbnail file");
        return DeviceCode::PcFileUnusable;
    }
    if (!DeleteFileW(temp.c_str()))
        TraceLine(category, "GetStockThumbnail - couldn't delete temp empty file");
    TraceLine(category, "GetStockThumbnail - finished");
    return DeviceCode::Success;
}

}  // namespace zlk
