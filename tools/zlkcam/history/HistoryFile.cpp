#include "tools/zlkcam/history/HistoryFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

[[noreturn]] void throwUnreadable() {
    throw UnusableFile(std::string("it can't be read (") + std::strerror(errno) + ")");
}

}  // namespace

HistoryFile::HistoryFile(int folder, const std::string& name, std::uint64_t limit)
    : file_(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)),
      limit_(limit) {
    // With O_NOFOLLOW, opening a link gives ELOOP.
    if (!file_ && errno == ELOOP) throw UnusableFile("it is a link");
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) throwUnreadable();
    if (!S_ISREG(status.st_mode)) throw UnusableFile("it is no file");
    if (static_cast<std::uint64_t>(status.st_size) > limit)
        throw UnusableFile("it has more than " + sizeText(limit));
}

std::size_t HistoryFile::read(std::span<char> room) {
    ssize_t read = 0;
    do read = ::read(file_.get(), room.data(), room.size());
    while (read < 0 && errno == EINTR);
    if (read < 0) throwUnreadable();
    const auto bytes = room.first(static_cast<std::size_t>(read));
    // The file may have grown since it was opened, so the limit is checked here, too.
    size_ += bytes.size();
    if (size_ > limit_) throw UnusableFile("it has more than " + sizeText(limit_));
    if (digester_) digester_->add(std::as_bytes(bytes));
    return bytes.size();
}

Digest HistoryFile::digest() {
    std::vector<char> block(1 << 16);
    while (read(block) > 0) {
    }
    return digester_->digest();
}

std::vector<std::string> namesIn(int folder) {
    // The walk gets its own descriptor, because reading would move the position of `folder`.
    Descriptor own(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseFolder> walk(own ? ::fdopendir(own.get()) : nullptr);
    if (!walk) throwUnreadable();
    own.release();  // closedir closes it from now on
    std::vector<std::string> names;
    // readdir returns null at the end and on an error; only errno tells which.
    for (errno = 0; const dirent* entry = ::readdir(walk.get()); errno = 0)
        names.emplace_back(entry->d_name);
    if (errno != 0) throwUnreadable();
    return names;
}

}  // namespace zlk
