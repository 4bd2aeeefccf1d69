// What an unloading flushes. The calls for it are taken from the C library, in all of this program.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <utility>
#include <vector>

#include "tests/support/TestMachine.h"
#include "tests/tools/CardTest.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/unload/RunFolders.h"

namespace {

std::set<dev_t> flushedDisks;
std::set<ino_t> flushedFiles;
int errorOfNextSyncfs = 0;
bool isAllFat = false;

struct stat statusOf(int file) {
    struct stat status {};
    ::fstat(file, &status);
    return status;
}

}  // namespace

extern "C" int syncfs(int file) noexcept {
    // The kernel, too, reports an error only once.
    if (const int error = std::exchange(errorOfNextSyncfs, 0)) {
        errno = error;
        return -1;
    }
    flushedDisks.insert(statusOf(file).st_dev);
    return static_cast<int>(::syscall(SYS_syncfs, file));
}
extern "C" int fsync(int file) {
    flushedFiles.insert(statusOf(file).st_ino);
    return static_cast<int>(::syscall(SYS_fsync, file));
}

extern "C" int fstatfs(int file, struct statfs* status) noexcept {
    const int result = static_cast<int>(::syscall(SYS_fstatfs, file, status));
    if (isAllFat) status->f_type = MSDOS_SUPER_MAGIC;
    return result;
}

namespace zlk::test {
namespace {

TEST(HiddenCopies, AreFlushedOnEveryDiskThatTheyLieOn) {
    const fs::path target = newFolder();
    const SmallDisk disk(target / "disk", "1m");
    if (!disk) GTEST_SKIP() << "Only root may mount.";
    const Descriptor top(::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Descriptor below(::open((target / "disk").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    RunFolder here(top.get(), "here"), there(below.get(), "there");
    std::vector<HiddenCopy> copies;
    for (RunFolder* const folder : {&here, &here, &there, &there, &there})
        copies.push_back(folder->make("A.JPG"));
    std::vector<HiddenCopy*> all;
    for (HiddenCopy& copy : copies) all.push_back(&copy);
    flushedDisks.clear();
    flushedFiles.clear();
    flushCopies(all);
    for (const HiddenCopy& copy : copies) {
        const auto status = statusOf(copy.file());
        EXPECT_TRUE(flushedDisks.contains(status.st_dev) || flushedFiles.contains(status.st_ino))
            << copy.path();
    }
}

TEST(RunFolders, ForgetNoErrorOfAnEarlierFlush) {
    const fs::path target = newFolder();
    Descriptor opened(::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::vector<FileIdentity> way = wayFrom(opened.get());
    const DeviceRoot camera(u"");
    FolderTree tree({std::move(opened), std::move(way)}, "target", camera);
    RunFolders folders(tree);
    const HiddenCopy copy = folders.make("A.JPG");
    isAllFat = true;
    errorOfNextSyncfs = EIO;
    folders.flushMoved();
    isAllFat = false;
    EXPECT_EQ(errorOfNextSyncfs, 0) << "it flushed";
    EXPECT_THROW(folders.flush("Writing"), Failure);
}

}  // namespace
}  // namespace zlk::test
