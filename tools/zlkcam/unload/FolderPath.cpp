#include "tools/zlkcam/unload/FolderPath.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tools/zlkcam/Text.h"

namespace zlk {

Descriptor openFolder(const std::u16string& path, std::string& reason) {
    const UniqueHandle handle(CreateFileW(path.c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!handle) {
        reason = reasonText();
        return {};
    }
    // The platform's handle closes with this function; the result needs its own descriptor.
    Descriptor folder(
        ::openat(descriptorOfOpenFile(handle.get()), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) reason = std::strerror(errno);
    return folder;
}

std::u16string pathAbove(const std::u16string& path) {
    const std::size_t end = path.find_last_of(u"/\\");
    if (end == path.npos || end + 1 == path.size()) return path;
    const bool isRoot = end == 0 || path[end - 1] == u':';
    return path.substr(0, isRoot ? end + 1 : end);
}

std::u16string existingPart(std::u16string path) {
    FileStatus status{};
    while (!_wstat64i32(path.c_str(), status)) {
        std::u16string above = pathAbove(path);
        if (above == path) break;
        path = std::move(above);
    }
    return path;
}

}  // namespace zlk
