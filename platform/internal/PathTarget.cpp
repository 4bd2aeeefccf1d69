#include "platform/internal/PathTarget.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <memory>
#include <utility>

#include "platform/error.h"
#include "platform/internal/DriveTable.h"
#include "platform/internal/FileName.h"
#include "platform/internal/PosixError.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr std::size_t maxPathUnits = 32767;
constexpr int folderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

int openBeneath(int base, const char* way, int flags) noexcept {
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    int fd;
    // A rename anywhere on the machine may spoil one try.
    for (int tries = 0; tries < 100; ++tries) {
        fd = static_cast<int>(::syscall(SYS_openat2, base, way, &how, sizeof how));
        if (fd >= 0 || (errno != EAGAIN && errno != EINTR)) break;
    }
    return fd;
}

/// Asked once: old kernels don't know the call, and some containers forbid it.
bool kernelFences() noexcept {
    static const bool known = [] {
        const Descriptor probe(openBeneath(AT_FDCWD, ".", folderFlags));
        return probe || (errno != ENOSYS && errno != EPERM);
    }();
    return known;
}

/// The same without the kernel's fence: name by name, no link followed.
int openWithoutLinks(int base, const std::string& way, int flags) noexcept {
    Descriptor folder;
    int from = base;
    std::size_t start = 0;
    for (std::size_t end; (end = way.find('/', start)) != std::string::npos; start = end + 1) {
        const std::string name = way.substr(start, end - start);
        Descriptor next(::openat(from, name.c_str(), folderFlags | O_NOFOLLOW));
        if (!next) return -1;
        folder = std::move(next);
        from = folder.get();
    }
    return ::openat(from, way.c_str() + start, flags | O_NOFOLLOW);
}

bool existsIn(int folder, const std::string& name) noexcept {
    struct stat status;
    return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

DWORD errorOfOpen(int error) noexcept {
    // Out of a card's fence; and a socket, or a pipe that nobody reads.
    return error == EXDEV || error == ENXIO ? ERROR_ACCESS_DENIED : errorFromErrno(error);
}

void setErrorOfOpen() noexcept {
    SetLastError(errorOfOpen(errno));
}

/// A folder above what was asked for.
void setErrorOfFolder() noexcept {
    const DWORD error = errorOfOpen(errno);
    SetLastError(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

/// A miss that another spelling may mend: names of units are longer than those of their bytes.
bool isMiss(int error) noexcept {
    return error == ENOENT || error == ENAMETOOLONG;
}

std::optional<std::string> literalWay(const std::vector<std::u16string_view>& components) {
    std::string way;
    for (const std::u16string_view component : components) {
        const auto name = literalName(component);
        if (!name) return std::nullopt;
        if (!way.empty()) way += '/';
        way += *name;
    }
    return way.empty() ? "." : way;
}

}  // namespace

std::optional<std::string> findName(int folder, std::u16string_view text, bool anyCase) {
    const auto literal = literalName(text);
    if (!literal) return std::nullopt;
    if (existsIn(folder, *literal)) return literal;
    const bool units = hasByteUnits(text);
    if (units) {
        auto bytes = byteName(text);
        if (existsIn(folder, *bytes)) return bytes;
    }
    if (!anyCase && !units) return std::nullopt;

    const int fd = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fd < 0 ? nullptr : ::fdopendir(fd),
                                                      ::closedir);
    std::optional<std::string> found;
    std::u16string other;
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        other.clear();
        appendNameText(other, entry->d_name);
        // Units both as characters and as bytes in one name: only its text finds it.
        if (other == text) return entry->d_name;
        // The first in order, so that every process finds the same one of several.
        if (anyCase && equalIgnoringCase(other, text) && (!found || entry->d_name < *found))
            found = entry->d_name;
    }
    return found;
}

PathTarget::PathTarget(Descriptor base, std::vector<std::u16string_view> components)
    : base_(std::move(base)), components_(std::move(components)) {}

std::optional<PathTarget> PathTarget::find(const WCHAR* path) {
    if (!path || !*path) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return std::nullopt;
    }
    return find(parseDeviceName(path));
}

std::optional<PathTarget> PathTarget::find(const DeviceName& name) {
    using Form = DeviceName::Form;
    std::size_t length = 0;
    for (const std::u16string_view component : name.components) length += component.size() + 1;
    if (length > maxPathUnits) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::nullopt;
    }
    auto below = name.components;
    Descriptor base;
    switch (name.form) {
        case Form::Volume:
        case Form::Device:
            SetLastError(ERROR_FILE_NOT_FOUND);
            return std::nullopt;
        case Form::Current:
            return PathTarget({}, std::move(below));
        case Form::Machine:
            base = Descriptor(::open("/", folderFlags));
            break;
        case Form::Drive:
            base = openDriveFolder(name.letter);
            break;
        case Form::Share:
            base = openShareFolder(below);
            break;
    }
    if (!base) return std::nullopt;
    PathTarget target(std::move(base), std::move(below));
    target.anyCase_ = name.form != Form::Machine;
    target.fenced_ = target.anyCase_ && name.letter != machineLetter;
    return target;
}

Descriptor PathTarget::openBelow(const std::string& way, int flags) const {
    const int base = base_ ? base_.get() : AT_FDCWD;
    flags |= O_CLOEXEC;
    if (!fenced_) return Descriptor(::openat(base, way.c_str(), flags));
    return Descriptor(kernelFences() ? openBeneath(base, way.c_str(), flags)
                                     : openWithoutLinks(base, way, flags));
}

Descriptor PathTarget::open(int flags) {
    auto way = literalWay(components_);
    if (!way) {
        SetLastError(ERROR_INVALID_NAME);
        return {};
    }
    Descriptor opened = openBelow(*way, flags);
    if (!opened && isMiss(errno)) {
        auto spelling = spell();
        if (!spelling) return {};
        way = std::move(spelling->way);
        opened = openBelow(*way, flags);
    }
    if (opened) {
        way_ = std::move(*way);
    } else {
        setErrorOfOpen();
    }
    return opened;
}

Descriptor PathTarget::openEntry(const char* name, int flags) const {
    return openBelow(way_ + '/' + name, flags);
}

std::optional<PathTarget::Entry> PathTarget::entry() const {
    if (isRoot()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return std::nullopt;
    }
    auto spelling = spell();
    if (!spelling) return std::nullopt;
    return Entry{std::move(spelling->folder), std::move(spelling->name), spelling->exists};
}

std::optional<PathTarget::Spelling> PathTarget::spell() const {
    Spelling spelling;
    for (const std::u16string_view component : components_) {
        spelling.folder = openBelow(spelling.way.empty() ? "." : spelling.way, folderFlags);
        if (!spelling.folder) {
            setErrorOfFolder();
            return std::nullopt;
        }
        auto name = findName(spelling.folder.get(), component, anyCase_);
        spelling.exists = name.has_value();
        if (!name) name = byteName(component);
        if (!name) {
            SetLastError(ERROR_INVALID_NAME);
            return std::nullopt;
        }
        spelling.name = std::move(*name);
        if (!spelling.way.empty()) spelling.way += '/';
        spelling.way += spelling.name;
    }
    if (spelling.way.empty()) spelling.way = ".";
    return spelling;
}

}  // namespace zlk::platform
