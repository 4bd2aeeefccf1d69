#include "tools/zlkcam/unload/HiddenCopy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <set>
#include <vector>

#include "tests/support/TestMachine.h"
#include "tests/tools/CardTest.h"
#include "tools/zlkcam/unload/RunFolder.h"

namespace {

std::set<dev_t> flushedDisks;
std::set<ino_t> flushedFiles;

struct stat statusOf(int file) {
    struct stat status {};
    ::fstat(file, &status);
    return status;
}

}  // namespace

// They take the place of the C library's, in all of this program.
extern "C" int syncfs(int file) noexcept {
    flushedDisks.insert(statusOf(file).st_dev);
    return static_cast<int>(::syscall(SYS_syncfs, file));
}
extern "C" int fsync(int file) {
    flushedFiles.insert(statusOf(file).st_ino);
    return static_cast<int>(::syscall(SYS_fsync, file));
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

}  // namespace
}  // namespace zlk::test
