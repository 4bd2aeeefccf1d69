#include "tools/zlkcam/history/NewFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <span>

#include "platform/files.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/RunName.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/WholeWrite.h"
#include "tools/zlkcam/history/HistoryNames.h"

namespace zlk {
namespace {

constexpr std::size_t blockSize = 1 << 20;
constexpr unsigned mostInASecond = 1000;

[[noreturn]] void fail(const std::string& name, const std::string& reason) {
    throw Failure(ExitStatus::FileUnusable, name + " can't be written: " + reason + ".",
                  "Make room on that disk, or see to the rights of that folder.");
}

/// The path of a name in an open folder, for calls of the platform. /proc leads to the folder
/// wherever it was moved to.
std::u16string pathOf(int folder, const std::string& name) {
    return wideText("/proc/self/fd/" + std::to_string(folder) + '/' + name);
}

}  // namespace

NewFile::NewFile(int folder, const std::string& name)
    : folder_(folder),
      name_(name),
      hidden_(newRunName() + '-' + name + ".part"),
      file_(::openat(folder, hidden_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (!file_) fail(name_, std::strerror(errno));
}

NewFile::~NewFile() {
    if (isHidden_) ::unlinkat(folder_, hidden_.c_str(), 0);
}

void NewFile::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= blockSize) writeOut();
}

void NewFile::writeOut() {
    if (!writeWhole(file_.get(), std::as_bytes(std::span(buffer_))))
        fail(name_, std::strerror(errno));
    buffer_.clear();
}

void NewFile::finish() {
    writeOut();
    if (::fsync(file_.get()) != 0) fail(name_, std::strerror(errno));
}

bool NewFile::takeName(const std::string& name) {
    // The platform's move replaces no file that was there before, on any file system.
    isHidden_ = !MoveFileW(pathOf(folder_, hidden_).c_str(), pathOf(folder_, name).c_str());
    if (isHidden_ && GetLastError() != ERROR_ALREADY_EXISTS) fail(name, reasonText());
    // On FAT the entry with the new name tells where the contents are only once the file is flushed
    // again. A power cut before that would leave the file without contents.
    if (!isHidden_ && ::fsync(file_.get()) != 0) fail(name, std::strerror(errno));
    return !isHidden_;
}

std::string NewFile::takeDatedName(std::int64_t made, std::string_view suffix) {
    const std::string folderName = nameOfFolder(folder_);
    for (unsigned attempt = 1; attempt <= mostInASecond; ++attempt) {
        std::string name = datedName(folderName, made, suffix, attempt);
        // Another run of the same second may have taken the name.
        if (!takeName(name)) continue;
        flushFolder(folder_, ".");
        return name;
    }
    fail(name_, "too many such files are of this second");
}

void NewFile::replace(const std::string& name) {
    if (::renameat(folder_, hidden_.c_str(), folder_, name.c_str()) != 0)
        fail(name, std::strerror(errno));
    isHidden_ = false;
    if (::fsync(file_.get()) != 0) fail(name, std::strerror(errno));
}

void flushFolder(int folder, const std::string& name) {
    // A file system that can't flush a folder returns one of these errors.
    if (::fsync(folder) != 0 && errno != EINVAL && errno != ENOTSUP && errno != ENOSYS)
        fail(name, std::strerror(errno));
}

}  // namespace zlk
