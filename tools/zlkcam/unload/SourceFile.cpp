#include "tools/zlkcam/unload/SourceFile.h"

#include "platform/files.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

/// False with the last error.
bool trueSize(const FileRecord& record, std::uint64_t& size) {
    const UniqueHandle file(CreateFileW(record.id.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER bytes{};
    if (!file || !GetFileSizeEx(file.get(), &bytes)) return false;
    size = static_cast<std::uint64_t>(bytes.QuadPart);
    return true;
}

}  // namespace

bool isOnVolume(const FileRecord& record) {
    const std::u16string_view id = record.id;
    return id.starts_with(u"\\\\") || (id.size() > 2 && id[1] == u':' && id[2] == u'\\');
}

UniqueHandle openToRead(const FileRecord& record) {
    return UniqueHandle(CreateFileW(record.id.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_READONLY, nullptr));
}

SourceState SourceState::of(const FileRecord& record) {
    SourceState state{record.size, record.modified.isNoDate ? -1 : secondsOf(record.modified.text)};
    if (!isOnVolume(record)) return state;
    FileStatus status{};
    if (!trueSize(record, state.size) || !_wstat64i32(record.id.c_str(), status))
        throw Failure(ExitStatus::ReadFailed, "It can't be read any more: " + reasonText() + ".");
    state.modified = status.st_mtime;
    return state;
}

std::u16string pathBelow(std::u16string_view root, const FileRecord& record) {
    while (root.ends_with(u'\\')) root.remove_suffix(1);
    const std::u16string_view id = record.id;
    const bool below = !root.empty() && id.size() > root.size() && id[root.size()] == u'\\' &&
                       equalIgnoringCase(id.substr(0, root.size()), root);
    return below ? std::u16string(id.substr(root.size())) : record.cameraPath;
}

}  // namespace zlk
