#include "tools/zlkcam/unload/Destination.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/history/NewFile.h"
#include "tools/zlkcam/unload/PosixFailure.h"
#include "tools/zlkcam/unload/SafeName.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {
namespace {

// How many files `name (n)` of one name are tried before a device is given up as absurd.
constexpr unsigned maxCollisions = 1'000'000;
// Folders that are kept open at a time; files in transit need descriptors, too.
constexpr std::size_t openFolders = 32;
constexpr std::size_t blockSize = 256 * 1024;

std::optional<FileIdentity> identityOf(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

/// Opens a folder by a path in the user's or a component's form, which may begin with a drive
/// letter and which only the platform can resolve. Empty if that fails, with the reason as text.
Descriptor openFolder(const std::u16string& path, std::string& reason) {
    const UniqueHandle handle(CreateFileW(path.c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!handle) {
        reason = reasonText();
        return {};
    }
    // The platform's handle closes with this function; the folder needs a descriptor of its own.
    Descriptor folder(
        ::openat(descriptorOfOpenFile(handle.get()), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) reason = std::strerror(errno);
    return folder;
}

/// The identities of a folder and of all folders above it, from the inside out. Empty with errno if
/// one of them can't be looked at. Identities can't be fooled by links and mounts, as a comparison
/// of paths could.
std::vector<FileIdentity> wayFrom(int folder) {
    std::vector<FileIdentity> way;
    Descriptor here(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (;;) {
        const auto identity = here ? identityOf(here.get()) : std::nullopt;
        if (!identity) return {};
        // Only the root is its own parent.
        if (!way.empty() && way.back() == *identity) return way;
        way.push_back(*identity);
        here = Descriptor(::openat(here.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
}

/// The folder that a path's last component lies in; itself for a root.
std::u16string pathAbove(const std::u16string& path) {
    const std::size_t end = path.find_last_of(u"/\\");
    if (end == path.npos || end + 1 == path.size()) return path;
    const bool isRoot = end == 0 || path[end - 1] == u':';
    return path.substr(0, isRoot ? end + 1 : end);
}

/// The longest part of a path that exists, to find out on which device a new folder would lie.
std::u16string existingPart(std::u16string path) {
    FileStatus status{};
    while (!_wstat64i32(path.c_str(), status)) {
        std::u16string above = pathAbove(path);
        if (above == path) break;
        path = std::move(above);
    }
    return path;
}

[[noreturn]] void throwNotMade(const std::string& folder, const std::string& reason) {
    throw Failure(ExitStatus::FileUnusable,
                  "Making the folder " + folder + " failed: " + reason + ".");
}

/// The path `file` with ` (number)` before its extension; unchanged for 1.
std::string numbered(const std::string& file, unsigned number) {
    if (number == 1) return file;
    std::string result = file;
    const std::size_t start = file.rfind('/') + 1;
    result.insert(start + extensionOf(std::string_view(file).substr(start)),
                  " (" + std::to_string(number) + ")");
    return result;
}

/// The folder that a path leads through, empty for the destination itself.
std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == file.npos ? std::string() : file.substr(0, slash);
}

std::string nameOf(const std::string& file) {
    return file.substr(file.rfind('/') + 1);
}

/// Reads a block from `at` on, without moving the file's own position. The block is shorter only at
/// the end of the file. False if reading fails.
bool readBlock(int file, off_t at, std::vector<std::byte>& block) {
    block.resize(blockSize);
    std::size_t size = 0;
    while (size < block.size()) {
        const ssize_t read =
            ::pread(file, block.data() + size, block.size() - size, at + static_cast<off_t>(size));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return false;
        if (read == 0) break;
        size += static_cast<std::size_t>(read);
    }
    block.resize(size);
    return true;
}

/// Nothing, with errno, if the file can't be read.
std::optional<ContentSum> sumOf(int file) {
    ContentSummer summer;
    for (std::vector<std::byte> block;;) {
        if (StopFlag::raised()) throw stoppedEarly();
        if (!readBlock(file, static_cast<off_t>(summer.size()), block)) return std::nullopt;
        summer.add(block);
        if (block.size() < blockSize) return summer.sum();
    }
}

/// False if one of them can't be read, too: then nothing shows that they are the same.
bool haveSameContent(int a, int b) {
    std::vector<std::byte> first, second;
    for (off_t at = 0;; at += static_cast<off_t>(blockSize)) {
        if (StopFlag::raised()) throw stoppedEarly();
        if (!readBlock(a, at, first) || !readBlock(b, at, second) || first != second) return false;
        if (first.size() < blockSize) return true;
    }
}

}  // namespace

Placement placementOf(HiddenCopy& copy, const std::string& wanted) {
    struct stat status {};
    const std::optional<ContentSum> sum = sumOf(copy.file());
    if (!sum || ::fstat(copy.file(), &status) != 0) throwPosix("Reading " + wanted);
    return {&copy, wanted, static_cast<std::uint64_t>(status.st_size), *sum};
}

Destination::Destination(const std::u16string& path, const std::u16string& device, Making making)
    : path_(absolutePath(path)) {
    if (path.empty())
        throw Failure(ExitStatus::Usage, "The folder to copy into has no name.",
                      "The current folder is called \".\".");
    while (path_.size() > 1 && (path_.ends_with(u'/') || path_.ends_with(u'\\'))) path_.pop_back();
    // `E:` alone would mean the current folder of drive E, but the user means the drive.
    if (path_.ends_with(u':')) path_ += u'/';
    std::string reason;
    if (!device.empty()) {
        const Descriptor root = openFolder(device, reason);
        if (root) device_ = identityOf(root.get());
        if (!device_)
            throw Failure(ExitStatus::NotConnected,
                          "The device can't be looked at any more: " + reason + ".");
    }
    // A copy on the device itself would be lost with it, and the original could be taken for its
    // own copy and be deleted. This is checked before anything is created there, and again for the
    // folder that was opened, because its path may have changed in between.
    const std::string name = utf8Text(path_);
    const Descriptor above = openFolder(existingPart(path_), reason);
    if (above) way_ = requireElsewhere(above.get(), name);
    if (making == Making::Folder && !CreateDirectoryW(path_.c_str(), nullptr) &&
        GetLastError() != ERROR_ALREADY_EXISTS)
        throwNotMade(name, reasonText());
    folder_ = openFolder(path_, reason);
    // In a rehearsal the folder may be missing; its parent must exist, as for a real run.
    std::string ignored;
    if (!folder_ && making == Making::Nothing && openFolder(pathAbove(path_), ignored)) return;
    if (!folder_) throwNotMade(name, reason);
    way_ = requireElsewhere(folder_.get(), name);
}

std::string Destination::shown(std::string_view file) const {
    std::string text = utf8Text(path_);
    if (file.empty()) return text;
    if (!text.ends_with('/')) text += '/';
    return text.append(file);
}

bool Destination::isDeviceAmong(const std::vector<FileIdentity>& way) const {
    return device_ && std::ranges::find(way, *device_) != way.end();
}

std::vector<FileIdentity> Destination::requireElsewhere(int folder,
                                                        const std::string& shownFolder) const {
    std::vector<FileIdentity> way = wayFrom(folder);
    if (way.empty()) throwPosix("Finding out where " + shownFolder + " lies");
    if (isDeviceAmong(way))
        throw Failure(ExitStatus::FileUnusable,
                      "The folder " + shownFolder + " is on the device itself.",
                      "Choose a folder on this machine.");
    return way;
}

std::optional<bool> Destination::isOnDevice(int file) const {
    if (!device_) return false;
    std::array<char, PATH_MAX> path{};
    // The kernel knows where an open file really lies, whatever links led to it.
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    if (::readlink(link.c_str(), path.data(), path.size() - 1) <= 0) return std::nullopt;
    const std::string folder(path.data(), std::string_view(path.data()).rfind('/') + 1);
    const Descriptor above(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::vector<FileIdentity> way =
        above ? wayFrom(above.get()) : std::vector<FileIdentity>();
    return way.empty() ? std::nullopt : std::optional(isDeviceAmong(way));
}

Destination::Folder Destination::open(const Folder& parent, const std::string& name,
                                      const std::string& folder, bool make) {
    const int above = parent.descriptor.get();
    const bool isMade = make && ::mkdirat(above, name.c_str(), 0777) == 0;
    // The error of mkdirat is the better explanation if the folder can't be opened afterwards.
    const int reason = make && !isMade && errno != EEXIST ? errno : 0;
    Descriptor opened(::openat(above, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto identity = opened ? identityOf(opened.get()) : std::nullopt;
    if (!identity && !make && errno == ENOENT) return {};
    if (!identity) throwNotMade(shown(folder), std::strerror(reason ? reason : errno));
    // A folder below the destination may be a link or a mount point that leads to the device.
    requireElsewhere(opened.get(), shown(folder));
    if (isMade) changed_.insert(folderOf(folder));
    return {std::move(opened), identity->device};
}

const Destination::Folder* Destination::enter(const std::string& folder, bool make) {
    const auto known = folders_.find(folder);
    if (known != folders_.end()) return &known->second;
    // The recursion goes up to the nearest folder that is open already, and opens the rest from
    // there.
    Folder opened;
    if (folder.empty()) {
        opened.descriptor = Descriptor(::fcntl(folder_.get(), F_DUPFD_CLOEXEC, 0));
        opened.device = way_.front().device;
        if (!opened.descriptor) throwPosix("Opening the folder " + shown(folder));
    } else {
        const Folder* const above = enter(folderOf(folder), make);
        if (above) opened = open(*above, nameOf(folder), folder, make);
        if (!opened.descriptor) return nullptr;
    }
    return &folders_.emplace(folder, std::move(opened)).first->second;
}

Destination::Place Destination::placeOf(const std::string& file) {
    // Descriptors are scarce. The cache is emptied as a whole, and what is still needed is opened
    // again; the references into it are never held beyond one file.
    if (folders_.size() > openFolders) folders_.clear();
    return {*enter(folderOf(file), true), nameOf(file)};
}

RunFolder& Destination::topRunFolder() {
    const auto known = runFolders_.find(way_.front().device);
    if (known != runFolders_.end()) return *known->second;
    auto made = std::make_unique<RunFolder>(folder_.get(), shown(""));
    return *runFolders_.emplace(way_.front().device, std::move(made)).first->second;
}

RunFolder& Destination::runFolderFor(const std::string& wanted) {
    // A file can only be moved within one file system, so the hidden copy has to be made on the one
    // where its folder is, or will be. A missing folder will be created on the file system of the
    // folder above it.
    std::string folder = folderOf(wanted);
    const Folder* there = enter(folder, false);
    while (!there) there = enter(folder = folderOf(folder), false);
    if (there->device == way_.front().device) return topRunFolder();
    const auto known = runFolders_.find(there->device);
    if (known != runFolders_.end()) return *known->second;
    // Another disk is mounted below the destination. The leftovers that killed runs have there are
    // removed; their journals lie in the destination's own run folder only.
    RunFolder::sweep(there->descriptor.get(), [](int) { return true; });
    auto made = std::make_unique<RunFolder>(there->descriptor.get(), shown(folder));
    return *runFolders_.emplace(there->device, std::move(made)).first->second;
}

int Destination::runFolder() {
    const std::lock_guard lock(inUse_);
    return topRunFolder().folder();
}

void Destination::keepRunFolder(bool isKept) {
    const std::lock_guard lock(inUse_);
    topRunFolder().keep(isKept);
}

HiddenCopy Destination::make(const std::string& wanted) {
    const std::lock_guard lock(inUse_);
    return runFolderFor(wanted).make(nameOf(wanted));
}

void Destination::flush(std::span<HiddenCopy* const> copies) const {
    if (copies.empty()) return;
    const auto flushOne = [&](const HiddenCopy& copy) {
        if (::fsync(copy.file()) != 0) throwPosix("Writing the copies through to the disk");
    };
    // One syncfs for all files is much faster than an fsync for each. But syncfs doesn't make every
    // file system empty the disk's own write cache, which fsync does: so one file is flushed by
    // fsync afterwards.
    const bool isWhole = copies.size() > 1 && isFlushedAsAWhole(copies.front()->file()) &&
                         ::syncfs(copies.front()->file()) == 0;
    if (isWhole) return flushOne(*copies.back());
    for (const HiddenCopy* const copy : copies) flushOne(*copy);
}

bool Destination::isFree(const std::string& file) {
    const Place place = placeOf(file);
    struct stat status {};
    return ::fstatat(place.folder.descriptor.get(), place.name.c_str(), &status,
                     AT_SYMLINK_NOFOLLOW) != 0 &&
           errno == ENOENT;
}

Descriptor Destination::openPlaced(const std::string& file) {
    const Place place = placeOf(file);
    // O_NONBLOCK: opening a pipe of this name would otherwise wait for a writer.
    Descriptor opened(::openat(place.folder.descriptor.get(), place.name.c_str(),
                               O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!opened || ::fstat(opened.get(), &status) != 0) return {};
    // A link to the device isn't a copy: the bytes would be the original itself.
    const std::optional<bool> isDevices = isOnDevice(opened.get());
    if (!isDevices) return {};
    if (S_ISREG(status.st_mode) && !*isDevices) return opened;
    errno = ENOENT;
    return {};
}

Descriptor Destination::openFile(const std::string& file) {
    const std::lock_guard lock(inUse_);
    if (!enter(folderOf(file), false)) {
        errno = ENOENT;
        return {};
    }
    return openPlaced(file);
}

bool Destination::move(Placement& placement, const std::string& file) {
    const Place place = placeOf(file);
    const int folder = place.folder.descriptor.get();
    if (!placement.copy->moveTo(folder, place.name)) {
        // EXDEV: the hidden copy was made where the name without the picture's date would lie. With
        // the date the name may lead to a folder on another file system.
        if (errno == EXDEV)
            throw Failure(ExitStatus::FileUnusable,
                          shown(file) + " would lie on another disk than " + shown("") + ".",
                          "Name a folder on that disk as one to copy into.");
        if (errno != EEXIST) throwPosix("Making " + shown(file));
        return false;
    }
    // On file systems without owners and modes (FAT, some network shares) others can write into the
    // private folder, and may have exchanged the file before it was moved.
    const std::optional<bool> isThere = placement.copy->isAt(folder, place.name);
    if (!isThere) throwPosix("Looking at " + shown(file));
    if (!*isThere)
        throw Failure(ExitStatus::FileUnusable,
                      shown(file) + " was exchanged for another file meanwhile.",
                      "Choose a folder that nobody else may write to.");
    changed_.insert(folderOf(file));
    placement.placed = file;
    return true;
}

Destination::Namesakes& Destination::namesakesOf(const std::string& file) {
    const auto [known, isNew] = namesakes_.try_emplace(file);
    Namesakes& namesakes = known->second;
    // The names in use have no gaps for us: the first free number ends the search.
    while (isNew && namesakes.next < maxCollisions) {
        const std::string candidate = numbered(file, namesakes.next);
        const Place place = placeOf(candidate);
        struct stat status {};
        const int folder = place.folder.descriptor.get();
        if (::fstatat(folder, place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) break;
        // A link counts by what it leads to, and takes its name in any case.
        if (S_ISLNK(status.st_mode)) ::fstatat(folder, place.name.c_str(), &status, 0);
        if (S_ISREG(status.st_mode))
            namesakes.bySize.emplace(static_cast<std::uint64_t>(status.st_size),
                                     Namesake{candidate, status.st_mtime});
        ++namesakes.next;
    }
    return namesakes;
}

bool Destination::isCopy(const Placement& placement, const std::string& file) {
    const Descriptor there = openPlaced(file);
    return there && haveSameContent(placement.copy->file(), there.get());
}

Destination::Namesake* Destination::copyAmong(Namesakes& namesakes, const Placement& placement) {
    const auto [first, last] = namesakes.bySize.equal_range(placement.size);
    // The sums are kept, so that each namesake is read only once, even if a camera has ten thousand
    // pictures of the same name and size. Only when the sums agree are the bytes compared.
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        if (!namesake.sum) {
            const Descriptor there = openPlaced(namesake.file);
            if (there) namesake.sum = sumOf(there.get());
        }
        if (namesake.sum == placement.sum && isCopy(placement, namesake.file)) return &namesake;
    }
    return nullptr;
}

void Destination::place(std::span<Placement> together) {
    const std::lock_guard lock(inUse_);
    // In most cases the name is free. The move finds that out by itself, without looking first, and
    // replaces nothing.
    if (together.size() == 1 && move(together.front(), together.front().wanted)) return;
    std::vector<Placement*> rest;
    // A file with the same bytes under one of the names `name (n)` is taken for the copy, so that a
    // repeated run doesn't add `name (2)`.
    for (Placement& placement : together) {
        Namesake* const copy = copyAmong(namesakesOf(placement.wanted), placement);
        if (!copy) {
            rest.push_back(&placement);
            continue;
        }
        copy->isCounted = placement.wasThere = true;
        placement.placed = copy->file;
    }
    placeBeside(rest);
}

void Destination::placeBeside(std::span<Placement* const> together) {
    unsigned number = 1;
    // All files of a shot get the same number, for RAW and JPEG to keep belonging together; so the
    // search begins at the highest number that is free for one of them.
    for (const Placement* const placement : together)
        number = std::max(number, namesakesOf(placement->wanted).next);
    for (std::size_t left = together.size(); left > 0; ++number) {
        if (number >= maxCollisions) throwPosix("Making " + shown(together[0]->wanted), EEXIST);
        const auto isTaken = [&](const Placement* placement) {
            return placement->placed.empty() && !isFree(numbered(placement->wanted, number));
        };
        // A file alone needs no look at the name: move() fails if it is taken.
        if (together.size() > 1 && std::ranges::any_of(together, isTaken)) continue;
        for (Placement* const placement : together) {
            if (!placement->placed.empty()) continue;
            const std::string file = numbered(placement->wanted, number);
            Namesakes& namesakes = namesakesOf(placement->wanted);
            // Even if the move fails the number is used, by somebody else.
            namesakes.next = number + 1;
            // Another program created a file of this name after the check above. That file is left
            // alone, and the next number is tried.
            if (!move(*placement, file)) continue;
            namesakes.bySize.emplace(placement->size, Namesake{file, 0, true, placement->sum});
            --left;
        }
    }
}

std::string Destination::findSame(const std::string& wanted, std::uint64_t size,
                                  std::int64_t modified) {
    const std::lock_guard lock(inUse_);
    if (isMissing() || !enter(folderOf(wanted), false)) return {};
    // In the usual case nothing has the name, and one look is enough; the list of namesakes is only
    // made where it is needed.
    if (namesakes_.find(wanted) == namesakes_.end() && isFree(wanted)) return {};
    const auto [first, last] = namesakesOf(wanted).bySize.equal_range(size);
    for (auto each = first; each != last; ++each) {
        Namesake& namesake = each->second;
        if (namesake.isCounted || !isSameTime(namesake.modified, modified) ||
            !openPlaced(namesake.file))
            continue;
        namesake.isCounted = true;
        return namesake.file;
    }
    return {};
}

void Destination::flushMoved() {
    const std::lock_guard lock(inUse_);
    for (const auto& [device, run] : runFolders_)
        if (losesContentsByMoving(run->folder())) ::syncfs(run->folder());
}

void Destination::flushNames() {
    const std::lock_guard lock(inUse_);
    const std::string doing = "Writing the names of the copies through to the disk";
    // On FAT, flushing the folder alone isn't enough, see losesContentsByMoving; syncfs covers the
    // files, too. Some file systems return ENOSYS, and have only the fsync of each folder that
    // follows.
    for (const auto& [device, run] : runFolders_)
        if (::syncfs(run->folder()) != 0 && errno != ENOSYS) throwPosix(doing);
    for (const std::string& name : changed_) {
        const Folder* const folder = enter(name, false);
        if (!folder) throwPosix(doing);
        flushFolder(folder->descriptor.get(), shown(name));
        // The same limit as in placeOf, which isn't called here.
        if (folders_.size() > openFolders) folders_.clear();
    }
    // The destination's own entry in its parent is flushed too, as the folder may be new. Its
    // errors are ignored: the parent may belong to another user, and the root of a drive has none.
    const Descriptor above(::openat(folder_.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (above) ::fsync(above.get());
    changed_.clear();
}

void Destination::removeCopies() const noexcept {
    for (const auto& [device, run] : runFolders_) run->removeCopies();
}

void Destination::finishRunFolders() const noexcept {
    for (const auto& [device, run] : runFolders_) run->finish();
}

}  // namespace zlk
