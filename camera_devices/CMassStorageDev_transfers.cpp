// Copies files from a volume, deletes files on it, and makes thumbnails.

#include <algorithm>
#include <memory>

#include "camera_devices/CMassStorageDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/PcFile.h"
#include "foundation/TraceLine.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/text.h"

namespace zlk {
namespace {

constexpr char category[] = "CMassStorageDev";

constexpr DWORD blockSize = 65'536;  // bytes; a stop takes effect after at most one block

// A camera that is still writing a picture keeps it locked for a while. Pauses are in milliseconds.
constexpr int openAttempts = 200;
constexpr DWORD openPause = 100;

// Bytes. No thumbnail of 160 by 160 pixels has as many, so a library that claims more isn't
// believed.
constexpr std::size_t largestThumbnail = 16 << 20;

void traceError(const char* format, DWORD error) {
    WCHAR message[260]{};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                   message, 260);
    TraceLine(category, format, static_cast<const WCHAR*>(message));
}

/// Opens a file of the card for reading, with several attempts. If all fail, the last error is
/// traced and the result is empty.
UniqueHandle openSource(const std::u16string& path) {
    for (int attempt = 1;; ++attempt) {
        UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_READONLY, nullptr));
        if (file) return file;
        if (attempt == openAttempts) {
            traceError("GetFile - CreateFile failed - %s)", GetLastError());
            return {};
        }
        Sleep(openPause);
    }
}

/// Copies the first `total` bytes, or fewer if progress reports ask for a stop.
DeviceCode copyBytes(HANDLE source, HANDLE target, DWORD total, ObjectProgressInterface* progress) {
    const auto buffer = std::make_unique_for_overwrite<BYTE[]>(blockSize);
    bool stopped = false;
    for (DWORD done = 0; done < total && !stopped;) {
        const DWORD wanted = std::min(total - done, blockSize);
        DWORD got = 0;
        // Fewer bytes than the file's size mean that the file has shrunk or the card is gone.
        if (!ReadFile(source, buffer.get(), wanted, &got, nullptr) || got != wanted) {
            traceError("GetFile - ReadFile failed - %s", GetLastError());
            return DeviceCode::ReadFailed;
        }
        done += wanted;
        // The block that was read is still written if the report asks for a stop.
        stopped = progress && !progress->reportProgress(percentOf(done, total));
        DWORD written = 0;
        if (!WriteFile(target, buffer.get(), wanted, &written, nullptr)) {
            traceError("GetFile - WriteFile failed - %s", GetLastError());
            return DeviceCode::ReadFailed;
        }
    }
    return DeviceCode::Success;
}

void traceThumbnailFailure(std::int32_t result, std::int32_t extendedError) {
    if (result == thumbnailErrorImlFailed) {
        TraceLine(category,
                  "GetThumbnail - ZLTNG_ERROR_IML_FAILED - Probably missing LeadTools libraries");
    } else if (result == thumbnailErrorUnknown) {
        TraceLine(category,
                  "GetThumbnail - ZLTNG_ERROR_UNKNOWN - Possibly couldn't find stock image for "
                  "video file");
    } else {
        TraceLine(category, "GetThumbnail Error - %s returned %d and %d", thumbnailEntryPoint,
                  result, extendedError);
    }
}

DeviceCode saveThumbnail(std::span<const BYTE> picture, const std::u16string& fileName) {
    const UniqueHandle file = createPcFile(fileName);
    if (!file) {
        TraceLine(category, "GetThumbnail Error - Could not create file handle for %s", fileName);
        return DeviceCode::PcFileUnusable;
    }
    const DeviceCode code = writePcFile(file.get(), picture);
    if (code != DeviceCode::Success)
        TraceLine(category, "GetThumbnail Error - err code %d writing buffer to %s", GetLastError(),
                  fileName);
    return code;
}

}  // namespace

bool CMassStorageDev::isOwnFile(std::u16string_view id) const {
    const std::size_t root = rootPath.size();
    if (root == 0 || id.size() <= root + 1 || id[root] != u'\\') return false;
    if (!equalIgnoringCase(id.substr(0, root), rootPath)) return false;
    // The platform ends a path at its first zero, which would make this the path of another file.
    if (id.find(u'\0') != id.npos) return false;
    for (std::u16string_view rest = id.substr(root + 1);;) {
        const std::size_t slash = rest.find_first_of(u"\\/");
        // A path with a step upwards could lead out of the device's root.
        if (rest.substr(0, slash) == u"..") return false;
        if (slash == rest.npos) return true;
        rest.remove_prefix(slash + 1);
    }
}

DeviceCode CMassStorageDev::DeleteFile(std::u16string id) {
    if (!isOwnFile(id)) return DeviceCode::DeleteRefused;
    wroteToVolume = true;
    return DeleteFileW(id.c_str()) ? DeviceCode::Success : DeviceCode::DeleteRefused;
}

DeviceCode CMassStorageDev::GetFile(std::u16string id, ObjectProgressInterface* progress,
                                    HANDLE target) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        TraceLine(category, "GetFile (%s)", id);
        if (!isOwnFile(id)) return DeviceCode::ReadFailed;
        const UniqueHandle source = openSource(id);
        if (!source) return DeviceCode::ReadFailed;
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(source.get(), &size)) {
            traceError("GetFile - GetFileSizeEx failed - %s", GetLastError());
            return DeviceCode::ReadFailed;
        }
        // Applications know sizes of 32 bits only, here as in the list.
        const auto total = static_cast<DWORD>(size.QuadPart);
        const DeviceCode code = copyBytes(source.get(), target, total, progress);
        if (code == DeviceCode::Success) TraceLine(category, "GetFile - Done");
        return code;
    });
}

DeviceCode CMassStorageDev::GetThumbnail(std::u16string id, std::u16string fileName) {
    return operationCode(DeviceCode::PcFileUnusable, [&] {
        TraceLine(category, "GetThumbnail (%s) - start", id);
        if (!thumbnails->usable()) {
            TraceLine(category, "GetThumbnail - image library not initiated");
            return DeviceCode::OutOfMemory;
        }
        // The thumbnail library takes paths of up to 259 units.
        if (!isOwnFile(id) || id.size() >= MAX_PATH) return DeviceCode::ReadFailed;
        TraceLine(category, "GetThumbnail - call into TNG - start");
        std::span<const BYTE> picture;
        std::int32_t extendedError = 0;
        const std::int32_t result = thumbnails->generate(id, picture, extendedError);
        TraceLine(category, "GetThumbnail - call into TNG - end");
        if (result != 0) {
            traceThumbnailFailure(result, extendedError);
            return DeviceCode::ReadFailed;
        }
        if (picture.empty() || picture.size() > largestThumbnail) return DeviceCode::ReadFailed;
        TraceLine(category, "GetThumbnail - OK, going to save the file now");
        const DeviceCode code = saveThumbnail(picture, fileName);
        if (code == DeviceCode::Success) TraceLine(category, "GetThumbnail - done");
        return code;
    });
}

}  // namespace zlk
