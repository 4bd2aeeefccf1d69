#include "tools/zlkcam/unload/FolderTree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>

#include "tools/zlkcam/history/NewFile.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {
namespace {

// The cache of open folders is emptied when it has more folders than this. Files in transit need
// descriptors, too.
constexpr std::size_t openFolders = 32;

}  // namespace

std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == file.npos ? std::string() : file.substr(0, slash);
}

std::string nameOf(const std::string& file) {
    return file.substr(file.rfind('/') + 1);
}

FolderTree::FolderTree(OpenFolder top, std::string name, const DeviceRoot& device)
    : top_(std::move(top)), name_(std::move(name)), device_(device) {}

std::string FolderTree::shown(std::string_view path) const {
    std::string text = name_;
    if (path.empty()) return text;
    if (!text.ends_with('/')) text += '/';
    return text.append(path);
}

OpenFolder FolderTree::open(const OpenFolder& above, const std::string& folder, bool make) {
    const int parent = above.descriptor.get();
    const std::string name = nameOf(folder);
    const bool isMade = make && ::mkdirat(parent, name.c_str(), 0777) == 0;
    // The error of mkdirat is the better explanation if the folder can't be opened afterwards.
    const int reason = make && !isMade && errno != EEXIST ? errno : 0;
    OpenFolder opened{
        Descriptor(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))};
    if (!opened.descriptor && !make && errno == ENOENT) return {};
    if (!opened.descriptor)
        throwPosix("Making the folder " + shown(folder), reason ? reason : errno);
    // A folder below the destination may be a link or a mount point that leads to the device.
    opened.way = device_.requireElsewhere(opened.descriptor.get(), shown(folder));
    if (isMade) changed_.insert(folderOf(folder));
    return opened;
}

const OpenFolder* FolderTree::enter(const std::string& folder, bool make) {
    if (folder.empty()) return &top_;
    const auto known = folders_.find(folder);
    if (known != folders_.end()) return &known->second;
    // The recursion goes up to the nearest folder that is open already, and opens the rest from
    // there.
    const OpenFolder* const above = enter(folderOf(folder), make);
    OpenFolder opened;
    if (above) opened = open(*above, folder, make);
    if (!opened.descriptor) return nullptr;
    return &folders_.emplace(folder, std::move(opened)).first->second;
}

/// The cache is emptied as a whole, and what is still needed is opened again.
void FolderTree::limitFolders() {
    if (folders_.size() > openFolders) folders_.clear();
}

const OpenFolder* FolderTree::find(const std::string& folder) {
    limitFolders();
    return enter(folder, false);
}

Place FolderTree::placeOf(const std::string& file) {
    limitFolders();
    return {enter(folderOf(file), true)->descriptor.get(), nameOf(file)};
}

Descriptor FolderTree::openFile(const std::string& file) {
    const OpenFolder* const folder = find(folderOf(file));
    if (!folder) {
        errno = ENOENT;
        return {};
    }
    // Without O_NONBLOCK, opening a pipe of this name would wait for a writer.
    Descriptor opened(::openat(folder->descriptor.get(), nameOf(file).c_str(),
                               O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!opened || ::fstat(opened.get(), &status) != 0) return {};
    // A link to the device isn't a copy: the bytes would be the original itself.
    const std::optional<bool> isDevices = device_.holds(opened.get());
    if (!isDevices) return {};
    if (S_ISREG(status.st_mode) && !*isDevices) return opened;
    errno = ENOENT;
    return {};
}

bool FolderTree::move(HiddenCopy& copy, const std::string& file) {
    const Place place = placeOf(file);
    if (!copy.moveTo(place.folder, place.name)) {
        // EXDEV: the hidden copy was made where the name without the picture's date would lie. With
        // the date the name may lead to a folder on another file system.
        if (errno == EXDEV)
            throw Failure(ExitStatus::FileUnusable,
                          shown(file) + " would lie on another disk than " + shown("") + ".",
                          "Name a folder on that disk as one to copy into.");
        if (errno != EEXIST) throwPosix("Making " + shown(file));
        return false;
    }
    // On file systems without owners and modes (FAT, some network shares) others may write into the
    // private folder, and could have exchanged the file before it was moved.
    const std::optional<bool> isThere = isNameOf(place.folder, place.name, copy.file());
    if (!isThere) throwPosix("Looking at " + shown(file));
    if (!*isThere)
        throw Failure(ExitStatus::FileUnusable,
                      shown(file) + " was exchanged for another file meanwhile.",
                      "Choose a folder that nobody else may write to.");
    changed_.insert(folderOf(file));
    return true;
}

void FolderTree::flushNames(const std::string& doing) {
    for (const std::string& name : changed_) {
        const OpenFolder* const folder = find(name);
        if (!folder) throwPosix(doing);
        flushFolder(folder->descriptor.get(), shown(name));
    }
    // The destination's own entry in its parent is flushed too, as the folder may be new. Errors
    // are ignored there: the parent may belong to another user.
    const Descriptor above(
        ::openat(top_.descriptor.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (above) ::fsync(above.get());
    changed_.clear();
}

}  // namespace zlk
