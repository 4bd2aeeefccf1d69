#include "tools/zlkcam/unload/SourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/files.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

[[noreturn]] void throwGone(const std::string& reason) {
    throw Failure(ExitStatus::ReadFailed, "It can't be read any more: " + reason + ".");
}

SourceState stateOf(const struct stat& status) {
    return {static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec};
}

}  // namespace

/// The ids of files on volumes are paths, with a drive letter or of a network share. A camera's ids
/// are handles.
bool isOnVolume(const FileRecord& record) {
    const std::u16string_view id = record.id;
    return id.starts_with(u"\\\\") || (id.size() > 2 && id[1] == u':' && id[2] == u'\\');
}

UniqueHandle openToRead(const FileRecord& record) {
    return UniqueHandle(CreateFileW(record.id.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_READONLY, nullptr));
}

SourceState SourceState::of(const FileRecord& record) {
    // A camera can't be asked about a file without a transfer, so the list's values are taken.
    if (!isOnVolume(record))
        return {record.size, record.modified.isNoDate ? -1 : secondsOf(record.modified.text)};
    // Access 0: only the status is wanted, and another program may have the file open.
    const UniqueHandle file(CreateFileW(record.id.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) throwGone(reasonText());
    struct stat status {};
    if (::fstat(descriptorOfOpenFile(file.get()), &status) != 0) throwGone(std::strerror(errno));
    return stateOf(status);
}

SourceFile::SourceFile(const FileRecord& record) : record_(record) {
    if (!isOnVolume(record)) return;
    handle_ = openToRead(record);
    // ERROR_SHARING_VIOLATION: another program has the file open for writing. The component waits
    // for a while then, so this isn't an error yet.
    if (handle_)
        file_ = descriptorOfOpenFile(handle_.get());
    else if (GetLastError() != ERROR_SHARING_VIOLATION)
        throw Failure(ExitStatus::ReadFailed, "It can't be opened: " + reasonText() + ".");
}

SourceState SourceFile::state() const {
    if (file_ < 0) return SourceState::of(record_);
    struct stat status {};
    if (::fstat(file_, &status) != 0) throwGone(std::strerror(errno));
    return stateOf(status);
}

void SourceFile::readAhead() const {
    // The system reads ahead by itself once reading has begun, so that the start of a large file is
    // enough.
    constexpr off_t most = 16 << 20;
    if (file_ >= 0) ::posix_fadvise(file_, 0, most, POSIX_FADV_WILLNEED);
}

void SourceFile::forgetContents() const {
    if (file_ >= 0) ::posix_fadvise(file_, 0, 0, POSIX_FADV_DONTNEED);
}

std::u16string pathBelow(std::u16string_view root, const FileRecord& record) {
    while (root.ends_with(u'\\')) root.remove_suffix(1);
    const std::u16string_view id = record.id;
    const bool below = !root.empty() && id.size() > root.size() && id[root.size()] == u'\\' &&
                       equalIgnoringCase(id.substr(0, root.size()), root);
    return below ? std::u16string(id.substr(root.size())) : record.cameraPath;
}

}  // namespace zlk
