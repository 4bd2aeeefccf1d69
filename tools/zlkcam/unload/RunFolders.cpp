#include "tools/zlkcam/unload/RunFolders.h"

#include <unistd.h>

#include <cerrno>

#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {

HiddenCopy RunFolders::make(const std::string& wanted) {
    return folderFor(wanted).make(nameOf(wanted));
}

RunFolder& RunFolders::top() {
    return folderIn(folders_.top(), "");
}

RunFolder& RunFolders::folderFor(const std::string& wanted) {
    // A missing folder will be created on the file system of the folder above it.
    std::string path = folderOf(wanted);
    const OpenFolder* there = folders_.find(path);
    while (!there) there = folders_.find(path = folderOf(path));
    return there->device() == folders_.top().device() ? top() : folderIn(*there, path);
}

RunFolder& RunFolders::folderIn(const OpenFolder& parent, const std::string& path) {
    const auto known = runFolders_.find(parent.device());
    if (known != runFolders_.end()) return *known->second;
    const int folder = parent.descriptor.get();
    // A `path` that isn't empty leads to another disk, which is mounted below the destination. The
    // leftovers that killed runs have there are removed; their journals lie in the destination's
    // own run folder only.
    if (!path.empty()) RunFolder::sweep(folder, [](int) { return true; });
    auto made = std::make_unique<RunFolder>(folder, folders_.shown(path));
    return *runFolders_.emplace(parent.device(), std::move(made)).first->second;
}

void RunFolders::flushMoved() {
    for (const auto& [device, run] : runFolders_) {
        if (!losesContentsByMoving(run->folder())) continue;
        if (::syncfs(run->folder()) != 0 && errno != ENOSYS) moveError_ = errno;
    }
}

void RunFolders::flush(const std::string& doing) const {
    if (moveError_ != 0) {
        errno = moveError_;
        throwPosix(doing);
    }
    // Without syncfs (ENOSYS) only the fsync of each folder is left.
    for (const auto& [device, run] : runFolders_)
        if (::syncfs(run->folder()) != 0 && errno != ENOSYS) throwPosix(doing);
}

void RunFolders::removeCopies() const noexcept {
    for (const auto& [device, run] : runFolders_) run->removeCopies();
}

void RunFolders::finish() const noexcept {
    for (const auto& [device, run] : runFolders_) run->finish();
}

}  // namespace zlk
