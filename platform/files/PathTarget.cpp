#include "platform/files/PathTarget.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <span>
#include <utility>

#include "platform/base/FileName.h"
#include "platform/base/PosixError.h"
#include "platform/drives/DriveTable.h"
#include "platform/error.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr std::size_t maxPathUnits = 32767;  // as many as callers' paths may have
constexpr int folderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

DWORD errorOfOpen(int error) noexcept {
    // EXDEV comes from a path that leads out of its fence. ENXIO comes, for example, from a socket
    // or a pipe without a reader.
    return error == EXDEV || error == ENXIO ? ERROR_ACCESS_DENIED : errorFromErrno(error);
}

void setErrorOfOpen() noexcept {
    SetLastError(errorOfOpen(errno));
}

/// Sets the last error after a failure at a folder: ERROR_PATH_NOT_FOUND if the folder is missing.
void setErrorOfFolder() noexcept {
    const DWORD error = errorOfOpen(errno);
    SetLastError(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

/// Whether another spelling of a name may succeed after this errno. A name may be too long only
/// because units U+F0xx in it take three bytes each, where the bytes that they stand for fit.
bool isMiss(int error) noexcept {
    return error == ENOENT || error == ENAMETOOLONG;
}

/// Whether a name exists. A name that can't be looked at counts as existing, so that the call that
/// follows reports the reason.
bool existsIn(int folder, const std::string& name) noexcept {
    struct stat status;
    return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || !isMiss(errno);
}

// The components joined by `/` as they are spelled, `.` if there are none; nothing if one of them
// can't be the name of a file.
std::optional<std::string> literalWay(std::span<const std::u16string_view> components) {
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

bool findName(int folder, std::u16string_view text, bool anyCase,
              std::optional<std::string>& name) {
    name = literalName(text);
    if (!name || existsIn(folder, *name)) return true;
    const bool units = hasByteUnits(text);
    if (units) {
        name = byteName(text);
        if (existsIn(folder, *name)) return true;
    }
    name.reset();
    if (!anyCase && !units) return true;

    // The folder has no name as the text spells it, so the folder is read for names whose texts
    // match.
    Descriptor file(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(file ? ::fdopendir(file.get()) : nullptr,
                                                      ::closedir);
    if (!listing) {
        // A caller that may not list a folder may still use names in it that it knows exactly.
        if (errno == EACCES) return true;
        setErrorOfFolder();
        return false;
    }
    file.release();
    // A name with the same text is preferred to one that differs in case. Among equals the first in
    // byte order is taken, so that every process finds the same name.
    std::optional<std::string> exact, folded;
    const auto prefer = [](std::optional<std::string>& found, const char* candidate) {
        if (!found || candidate < *found) found = candidate;
    };
    std::u16string other;
    while (const dirent* entry = (errno = 0, ::readdir(listing.get()))) {
        other.clear();
        appendNameText(other, entry->d_name);
        if (other == text) {
            // A name may contain both characters U+F0xx and bytes that show as such units. Neither
            // reading of the text gives that name, so the texts are compared.
            prefer(exact, entry->d_name);
        } else if (anyCase && equalIgnoringCase(other, text)) {
            prefer(folded, entry->d_name);
        }
    }
    if (errno != 0) {
        setErrorOfFolder();
        return false;
    }
    name = exact ? exact : folded;
    return true;
}

PathTarget::PathTarget(PathRoot root, std::vector<std::u16string_view> components, bool anyCase)
    : root_(std::move(root)), components_(std::move(components)), anyCase_(anyCase) {}

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
    Descriptor folder;
    switch (name.form) {
        case Form::Volume:
        case Form::Device:
            SetLastError(ERROR_FILE_NOT_FOUND);
            return std::nullopt;
        case Form::Current:
            return PathTarget(PathRoot(), std::move(below), false);
        case Form::Machine:
            return PathTarget(PathRoot::ofMachine(), std::move(below), false);
        case Form::Drive:
            folder = openDriveFolder(name.letter);
            break;
        case Form::Share:
            folder = openShareFolder(below);
            break;
    }
    if (!folder) return std::nullopt;
    return PathTarget(PathRoot(std::move(folder), name.letter != machineLetter), std::move(below),
                      true);
}

Descriptor PathTarget::open(int flags) {
    auto way = literalWay(components_);
    if (!way) {
        SetLastError(ERROR_INVALID_NAME);
        return {};
    }
    Descriptor opened = root_.open(*way, flags);
    if (!opened && isMiss(errno)) {
        auto spelling = spell();
        if (!spelling) return {};
        way = std::move(spelling->way);
        opened = root_.open(*way, flags);
    }
    if (opened) {
        way_ = std::move(*way);
    } else {
        setErrorOfOpen();
    }
    return opened;
}

std::optional<PathTarget::Entry> PathTarget::entry() const {
    if (isRoot()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return std::nullopt;
    }
    auto spelling = spell();
    if (!spelling) return std::nullopt;
    return std::move(spelling->entry);
}

std::optional<PathTarget::Spelling> PathTarget::spell() const {
    Spelling spelling{".", {}};
    // The folders above the last name are mostly spelled as they exist, and then one call opens
    // them all. Otherwise every name is looked up, from the root on.
    std::size_t i = components_.empty() ? 0 : components_.size() - 1;
    auto above = literalWay(std::span(components_).first(i));
    Descriptor folder = above ? root_.open(*above, folderFlags) : Descriptor();
    if (folder)
        spelling.way = std::move(*above);
    else
        i = 0;
    for (; i < components_.size(); ++i) {
        Entry& entry = spelling.entry;
        entry.folder = std::exchange(folder, {});
        if (!entry.folder) entry.folder = root_.open(spelling.way, folderFlags);
        if (!entry.folder) {
            setErrorOfFolder();
            return std::nullopt;
        }
        std::optional<std::string> name;
        if (!findName(entry.folder.get(), components_[i], anyCase_, name)) return std::nullopt;
        entry.exists = name.has_value();
        // A name that doesn't exist may be made next, and then units for bytes become bytes.
        if (!name) name = byteName(components_[i]);
        if (!name) {
            SetLastError(ERROR_INVALID_NAME);
            return std::nullopt;
        }
        entry.name = std::move(*name);
        spelling.way = i == 0 ? entry.name : spelling.way + '/' + entry.name;
    }
    return spelling;
}

}  // namespace zlk::platform
