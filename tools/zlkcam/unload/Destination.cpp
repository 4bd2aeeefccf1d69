#include "tools/zlkcam/unload/Destination.h"

#include "platform/files.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/unload/FolderPath.h"

namespace zlk {
namespace {

/// The absolute path of the destination. Throws Failure (Usage) if the user gave none.
std::u16string destinationPath(const std::u16string& given) {
    if (given.empty())
        throw Failure(ExitStatus::Usage, "The folder to copy into has no name.",
                      "The current folder is called \".\".");
    std::u16string path = absolutePath(given);
    while (path.size() > 1 && (path.ends_with(u'/') || path.ends_with(u'\\'))) path.pop_back();
    // `E:` alone would mean the current folder of drive E, but the user means the drive.
    if (path.ends_with(u':')) path += u'/';
    return path;
}

[[noreturn]] void throwNotMade(const std::string& folder, const std::string& reason) {
    throw Failure(ExitStatus::FileUnusable,
                  "Making the folder " + folder + " failed: " + reason + ".");
}

/// Opens the destination. If it is missing, it is created first, unless `making` is Nothing.
OpenFolder openDestination(const std::u16string& path, const DeviceRoot& device,
                           Destination::Making making) {
    OpenFolder opened;
    std::string reason;
    const std::string name = utf8Text(path);
    // Whether the folder is on the device is found out before anything is created there, and again
    // for the folder that was opened, because the path may lead elsewhere by then.
    const Descriptor above = openFolder(existingPart(path), reason);
    if (above) opened.way = device.requireElsewhere(above.get(), name);
    if (making == Destination::Making::Folder && !CreateDirectoryW(path.c_str(), nullptr) &&
        GetLastError() != ERROR_ALREADY_EXISTS)
        throwNotMade(name, reasonText());
    opened.descriptor = openFolder(path, reason);
    const bool isOpen = static_cast<bool>(opened.descriptor);
    // If nothing is to be created the folder may be missing, but its parent must exist, or the
    // folder couldn't be created later.
    std::string ignored;
    if (!isOpen && making == Destination::Making::Nothing && openFolder(pathAbove(path), ignored))
        return opened;
    if (!isOpen) throwNotMade(name, reason);
    opened.way = device.requireElsewhere(opened.descriptor.get(), name);
    return opened;
}

}  // namespace

Destination::Destination(const std::u16string& path, const std::u16string& device, Making making)
    : path_(destinationPath(path)),
      device_(device),
      folders_(openDestination(path_, device_, making), utf8Text(path_), device_),
      runFolders_(folders_),
      placer_(folders_) {}

HiddenCopy Destination::make(const std::string& wanted) {
    const std::lock_guard lock(inUse_);
    return runFolders_.make(wanted);
}

void Destination::place(std::span<Placement> together) {
    const std::lock_guard lock(inUse_);
    placer_.place(together);
}

std::string Destination::findSame(const std::string& wanted, std::uint64_t size,
                                  std::int64_t modified) {
    const std::lock_guard lock(inUse_);
    return isMissing() ? std::string() : placer_.findSame(wanted, size, modified);
}

void Destination::flushMoved() {
    const std::lock_guard lock(inUse_);
    runFolders_.flushMoved();
}

Descriptor Destination::openFile(const std::string& file) {
    const std::lock_guard lock(inUse_);
    return folders_.openFile(file);
}

void Destination::flushNames() {
    const std::lock_guard lock(inUse_);
    const std::string doing = "Writing the names of the copies through to the disk";
    // On FAT, flushing the folders alone isn't enough, see losesContentsByMoving; the first call
    // covers the files, too.
    runFolders_.flush(doing);
    folders_.flushNames(doing);
}

int Destination::runFolder() {
    const std::lock_guard lock(inUse_);
    return runFolders_.top().folder();
}

void Destination::keepRunFolder(bool isKept) {
    const std::lock_guard lock(inUse_);
    runFolders_.top().keep(isKept);
}

void Destination::removeCopies() const noexcept {
    runFolders_.removeCopies();
}

void Destination::finishRunFolders() const noexcept {
    runFolders_.finish();
}

}  // namespace zlk
