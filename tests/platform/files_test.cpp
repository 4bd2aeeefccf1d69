#include "platform/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/text.h"
#include "tests/platform/CardFolder.h"
#include "tests/support/ChildProcess.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

TEST(Walk, ComesInTheOrderOfNamesWithWhatThereIsToKnow) {
    const Card card;
    for (const char* name : {"b.jpg", "C.jpg", "a.jpg", ".hidden"})
        writeFile(card.folder / name, "12345");
    fs::create_directory(card.folder / "B");
    fs::permissions(card.folder / "b.jpg", fs::perms::owner_read);
    const FILETIME time = fileTimeFromUnix(1'000'000'000, 123'456'700);
    EXPECT_TRUE(
        SetFileTime(open(card.path(u"C.jpg"), GENERIC_WRITE).get(), nullptr, nullptr, &time));
    fs::resize_file(card.folder / "a.jpg", (1ull << 32) + 7);

    const auto entries = walk(card.path(u""));
    ASSERT_THAT(namesOf(entries), ElementsAre(u".hidden", u"a.jpg", u"B", u"b.jpg", u"C.jpg"));
    EXPECT_EQ(entries[0].dwFileAttributes, FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(entries[1].nFileSizeHigh, 1u);
    EXPECT_EQ(entries[1].nFileSizeLow, 7u);
    EXPECT_EQ(entries[2].dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(entries[3].dwFileAttributes, FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(entries[4].dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(entries[4].ftLastWriteTime.dwLowDateTime, time.dwLowDateTime);
    EXPECT_EQ(entries[4].ftLastWriteTime.dwHighDateTime, time.dwHighDateTime);
    EXPECT_NE(entries[4].ftCreationTime.dwHighDateTime, 0u);
    EXPECT_EQ(GetFileAttributesW(card.path(u"").c_str()), FILE_ATTRIBUTE_DIRECTORY);

    EXPECT_EQ(walkError(card.path(u"none\\*")), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(walkError(card.path(u"*.jpg")), ERROR_INVALID_NAME);
}

TEST(Walk, LeavesOutWhatVanishesMeanwhile) {
    const Card card;
    for (const char* name : {"a", "b", "c"}) writeFile(card.folder / name, "");
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW(card.path(u"*").c_str(), &entry);
    ASSERT_TRUE(FindNextFileW(find, &entry));  // `..`
    fs::remove(card.folder / "a");
    ASSERT_TRUE(FindNextFileW(find, &entry));
    EXPECT_EQ(std::u16string(entry.cFileName), u"b");
    fs::remove_all(card.folder);
    EXPECT_FALSE(FindNextFileW(find, &entry));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(FindClose(find));
    EXPECT_FALSE(FindClose(find));
}

TEST(Walk, DeepTreesEndAtThePathLimitWithAnError) {
    const Card card;
    const std::string name(200, 'd');
    int folder = ::open(card.folder.c_str(), O_PATH | O_CLOEXEC);
    for (int level = 0; level < 30; ++level) {
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0700), 0);
        const int next = ::openat(folder, name.c_str(), O_PATH | O_CLOEXEC);
        ::close(folder);
        folder = next;
    }
    ::close(folder);
    std::u16string path = card.path(u"");
    DWORD error;
    while (!(error = walkError(path + u"\\*"))) path += u"\\" + wideText(name);
    EXPECT_EQ(error, ERROR_FILENAME_EXCED_RANGE);
    EXPECT_GT(path.size(), 3'800u);
}

/// The rights that a digit stands for: 1 for reading, 2 for writing, as with what is shared.
DWORD accessOf(int rights) {
    return (rights & 1 ? GENERIC_READ : 0) | (rights & 2 ? GENERIC_WRITE : 0);
}

/// Opens as two digits say: the rights asked for, and what is shared.
DWORD openAs(const std::string& line, const std::string& path) {
    return openError(wideText(path), accessOf(line[0] - '0'), static_cast<DWORD>(line[1] - '0'));
}

ZLK_CHILD(opensShared) {
    for (std::string line; !(line = child.hear()).empty();)
        child.say(std::to_string(openAs(line, child.arguments[0])));
    return 0;
}

TEST(Sharing, RefusesWhatAnOpenerInAnyProcessDoesNotShare) {
    const fs::path path = newFolder() / "file";
    writeFile(path, "content");
    ChildProcess other("opensShared", {path.string()});
    for (int pair = 0; pair < 256; ++pair) {
        const int rights = pair & 3, share = pair >> 2 & 3;
        const int otherRights = pair >> 4 & 3, otherShare = pair >> 6;
        const UniqueHandle first =
            open(pathText(path), accessOf(rights), static_cast<DWORD>(share));
        ASSERT_TRUE(first) << GetLastError();
        const bool bothUseIt = rights && otherRights;
        const bool refused = bothUseIt && ((otherRights & ~share) || (rights & ~otherShare));
        const DWORD expected = refused ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
        const std::string line = std::to_string(otherRights) + std::to_string(otherShare);
        other.say(line);
        EXPECT_EQ(other.hear(), std::to_string(expected)) << rights << share << " then " << line;
        EXPECT_EQ(openAs(line, path), expected) << rights << share << " then " << line;
    }
}

TEST(Sharing, NobodyEmptiesWhatSomebodyHolds) {
    const fs::path path = newFolder() / "file";
    writeFile(path, "content");
    for (const DWORD share : {DWORD{0}, FILE_SHARE_READ}) {
        const UniqueHandle holder = open(pathText(path), GENERIC_READ, share);
        for (const DWORD access : {GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE})
            EXPECT_EQ(openError(pathText(path), access, shareAll, CREATE_ALWAYS),
                      ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(readFile(path), "content");
}

TEST(Sharing, EndsWithTheHandleOfTheProcessThatOpenedIt) {
    const fs::path path = newFolder() / "file";
    writeFile(path, "content");
    UniqueHandle held = open(pathText(path), GENERIC_WRITE, 0);
    const auto closeIt = [&] {
        held.reset();
        return 0;
    };
    EXPECT_EQ(forked(closeIt), 0);
    EXPECT_EQ(openAs("13", path), ERROR_SHARING_VIOLATION);
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    closeIt();
    EXPECT_EQ(openAs("13", path), ERROR_SUCCESS);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(Files, CreateAlwaysEmptiesAndKeepsTheMode) {
    const fs::path path = newFolder() / "file";
    EXPECT_TRUE(open(pathText(path), GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    writeFile(path, "content");
    fs::permissions(path, fs::perms(0640));
    EXPECT_TRUE(open(pathText(path), GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(readFile(path), "");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
    EXPECT_EQ(openError(pathText(path.parent_path()), GENERIC_WRITE, 0, CREATE_ALWAYS),
              ERROR_ACCESS_DENIED);
}

TEST(Files, HandlesAllowWhatTheyWereOpenedFor) {
    const fs::path path = newFolder() / "file";
    writeFile(path, "content");
    const UniqueHandle asks = open(pathText(path), 0), reads = open(pathText(path));
    const UniqueHandle writes = open(pathText(path), GENERIC_WRITE);
    char buffer[10];
    DWORD done = 99;
    const auto read = [&](const UniqueHandle& file) {
        return errorOf(ReadFile(file.get(), buffer, 10, &done, nullptr));
    };
    EXPECT_EQ(read(writes), ERROR_ACCESS_DENIED);
    EXPECT_EQ(read(asks), ERROR_ACCESS_DENIED);
    EXPECT_EQ(read(UniqueHandle()), ERROR_INVALID_HANDLE);
    EXPECT_EQ(errorOf(WriteFile(reads.get(), "x", 1, &done, nullptr)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(done, 0u);
    for (const DWORD left : {7u, 0u}) {
        EXPECT_EQ(read(reads), ERROR_SUCCESS);
        EXPECT_EQ(done, left);
    }
    LARGE_INTEGER size;
    EXPECT_TRUE(GetFileSizeEx(asks.get(), &size));
    EXPECT_EQ(size.QuadPart, 7);
    EXPECT_TRUE(FlushFileBuffers(writes.get()));
}

TEST(Files, AProtectedPictureIsNeitherOverwrittenNorDeleted) {
    const Card card;
    writeFile(card.folder / "keep.jpg", "content");
    fs::permissions(card.folder / "keep.jpg", fs::perms::owner_read);
    const std::u16string path = card.path(u"keep.jpg");
    EXPECT_EQ(openError(path, GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openError(path, GENERIC_WRITE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorOf(DeleteFileW(path.c_str())), ERROR_ACCESS_DENIED);
    EXPECT_EQ(contentOf(path), "content");
    EXPECT_EQ(errorOf(DeleteFileW(card.path(u"").c_str())), ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorOf(DeleteFileW(card.path(u"none").c_str())), ERROR_FILE_NOT_FOUND);
}

TEST(Files, MovingReplacesNothing) {
    const Card card;
    writeFile(card.folder / "a", "a");
    writeFile(card.folder / "B", "b");
    EXPECT_EQ(moveError(card.path(u"a"), card.path(u"b")), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(moveError(card.path(u"none"), card.path(u"c")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(moveError(card.path(u"A"), card.path(u"c")), ERROR_SUCCESS);
    EXPECT_EQ(contentOf(card.path(u"c")), "a");
    EXPECT_EQ(contentOf(card.path(u"B")), "b");
}

TEST(Files, AFolderWithoutTheRightToWriteIsReadAndNotChanged) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    const fs::path folder = newFolder();
    const std::u16string file = pathText(folder / "file"), other = file + u"2";
    writeFile(folder / "file", "content");
    for (fs::path above = folder; above != fs::temp_directory_path(); above = above.parent_path())
        fs::permissions(above, static_cast<fs::perms>(0755));
    const auto asSomebodyElse = [&] {
        EXPECT_TRUE(::setgid(65534) == 0 && ::setuid(65534) == 0);
        EXPECT_EQ(contentOf(file), "content");
        for (const DWORD error :
             {openError(other, GENERIC_WRITE, 0, CREATE_ALWAYS),
              openError(file, GENERIC_WRITE, 0, CREATE_ALWAYS), errorOf(DeleteFileW(file.c_str())),
              errorOf(CreateDirectoryW(other.c_str(), nullptr)), moveError(file, other)})
            EXPECT_EQ(error, ERROR_ACCESS_DENIED);
        return ::testing::Test::HasFailure();
    };
    EXPECT_EQ(forked(asSomebodyElse), 0);
    EXPECT_EQ(readFile(folder / "file"), "content");
}

/// Writes until it fails; what the calls said they wrote is in the file.
void expectCut(const std::u16string& path, DWORD error) {
    const UniqueHandle file = open(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_TRUE(file) << GetLastError();
    const std::vector<char> block(100'000, 'x');
    DWORD written = 0, result = 0;
    std::int64_t total = 0;
    for (int i = 0; i < 100 && !result; ++i) {
        result = errorOf(WriteFile(file.get(), block.data(), 100'000, &written, nullptr));
        total += written;
    }
    EXPECT_EQ(result, error);
    LARGE_INTEGER size;
    EXPECT_TRUE(GetFileSizeEx(file.get(), &size));
    EXPECT_EQ(size.QuadPart, total);
    EXPECT_GT(total, 0);
}

TEST(Files, AFullDiskAndAFileAtItsLimitTellHowMuchIsIn) {
    const fs::path folder = newFolder();
    rlimit sizes;
    ::getrlimit(RLIMIT_FSIZE, &sizes);
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit few{150'000, sizes.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &few), 0);
    expectCut(pathText(folder / "file"), ERROR_FILE_TOO_LARGE);
    ::setrlimit(RLIMIT_FSIZE, &sizes);
    if (::mount("none", folder.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "nothing can be mounted here";
    const std::u16string file = pathText(folder / "file");
    expectCut(file, ERROR_DISK_FULL);
    EXPECT_EQ(::mount("none", folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
    EXPECT_EQ(openError(file, GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_WRITE_PROTECT);
    EXPECT_EQ(errorOf(DeleteFileW(file.c_str())), ERROR_WRITE_PROTECT);
    EXPECT_EQ(::umount2(folder.c_str(), MNT_DETACH), 0);
}

TEST(Files, AVanishedCardIsNotReady) {
    const Card card;
    writeFile(card.folder / "file", "");
    fs::remove_all(card.folder);
    EXPECT_EQ(openError(card.path(u"file")), ERROR_NOT_READY);
    EXPECT_EQ(openError(card.path(u"new"), GENERIC_WRITE, 0, CREATE_NEW), ERROR_NOT_READY);
    EXPECT_EQ(walkError(card.path(u"*")), ERROR_NOT_READY);
    EXPECT_EQ(GetFileAttributesW(card.path(u"").c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), ERROR_NOT_READY);
}

}  // namespace
}  // namespace zlk::test
