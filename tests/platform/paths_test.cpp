#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>

#include "platform/files.h"
#include "platform/text.h"
#include "tests/platform/CardFolder.h"
#include "tests/support/ChildProcess.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

TEST(SplitPath, GivesPartsThatMakeUpThePath) {
    struct {
        std::u16string_view path, drive, directory, name, extension;
    } const rows[] = {
        {u"E:\\DCIM\\100CAM\\PICT0001.JPG", u"E:", u"\\DCIM\\100CAM\\", u"PICT0001", u".JPG"},
        {u"\\\\server\\share\\a.b.c", u"", u"\\\\server\\share\\", u"a.b", u".c"},
        {u"/home/x/", u"", u"/home/x/", u"", u""},
        {u"E:plain", u"E:", u"", u"plain", u""},
        {u"dir.d/plain", u"", u"dir.d/", u"plain", u""},
        {u"", u"", u"", u"", u""},
    };
    for (const auto& row : rows) {
        const PathParts parts = splitPath(row.path);
        EXPECT_EQ(std::tie(parts.drive, parts.directory, parts.name, parts.extension),
                  std::tie(row.drive, row.directory, row.name, row.extension))
            << utf8Text(row.path);
    }
}

TEST(Paths, AllFormsLeadToTheSameFile) {
    const Card card;
    fs::create_directories(card.folder / "DCIM/100CAM");
    writeFile(card.folder / "DCIM/100CAM/Pict.jpg", "picture");
    const std::u16string whole = pathText(card.folder / "DCIM/100CAM/Pict.jpg");
    for (const std::u16string& path :
         {whole, u"Z:" + whole, card.path(u"DCIM\\100CAM\\Pict.jpg"),
          card.path(u"DCIM/\\100CAM\\.\\Pict.jpg"), card.path(u"dcim\\100cam\\PICT.JPG"),
          card.path(u"..\\..\\DCIM\\x\\..\\100CAM\\Pict.jpg")})
        EXPECT_EQ(contentOf(path), "picture") << utf8Text(path);
    // Without case below a drive, to the letter elsewhere.
    EXPECT_EQ(openError(pathText(card.folder) + u"/dcim/100CAM/Pict.jpg"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError(pathText(card.folder) + u"/DCIM/100CAM/pict.jpg"), ERROR_FILE_NOT_FOUND);

    WCHAR before[1000];
    ASSERT_GT(GetCurrentDirectoryW(1000, before), 0u);
    ASSERT_TRUE(SetCurrentDirectoryW(card.path(u"dcim").c_str()));
    EXPECT_EQ(contentOf(u"100CAM\\Pict.jpg"), "picture");
    EXPECT_EQ(contentOf(u"../DCIM/100CAM/Pict.jpg"), "picture");
    EXPECT_TRUE(SetCurrentDirectoryW(before));
}

TEST(Paths, AMissTellsWhatIsMissing) {
    const Card card;
    writeFile(card.folder / "file", "");
    const std::pair<std::u16string, DWORD> rows[] = {
        {card.path(u"none.jpg"), ERROR_FILE_NOT_FOUND},
        {card.path(u"none\\none.jpg"), ERROR_PATH_NOT_FOUND},
        {card.path(u"file\\none.jpg"), ERROR_PATH_NOT_FOUND},
        {u"Q:\\none.jpg", ERROR_PATH_NOT_FOUND},
        {u"\\\\server\\share\\none.jpg", ERROR_PATH_NOT_FOUND},
        {u"\\\\.\\Nodevice0", ERROR_FILE_NOT_FOUND},
        {card.path(u"half\xD800pair"), ERROR_INVALID_NAME},
        {u"", ERROR_PATH_NOT_FOUND},
        {card.path(u""), ERROR_ACCESS_DENIED},
        {card.path(std::u16string(40'000, u'x')), ERROR_FILENAME_EXCED_RANGE},
        {card.path(std::u16string(300, u'x')), ERROR_FILENAME_EXCED_RANGE},
    };
    for (const auto& [path, error] : rows)
        EXPECT_EQ(openError(path), error) << utf8Text(path).substr(0, 80);
}

TEST(Paths, AWantOfDescriptorsIsNoMiss) {
    const Card card;
    writeFile(card.folder / "Pict.jpg", "picture");
    EXPECT_EQ(contentOf(card.path(u"PICT.JPG")), "picture");
    rlimit files;
    ::getrlimit(RLIMIT_NOFILE, &files);
    const int next = ::dup(0);
    ::close(next);
    for (DWORD room = 0, error = 1; error != ERROR_SUCCESS; ++room) {
        const rlimit few{static_cast<rlim_t>(next) + room, files.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        error = errorOf(DeleteFileW(card.path(u"PICT.JPG").c_str()));
        ::setrlimit(RLIMIT_NOFILE, &files);
        ASSERT_NE(error, ERROR_FILE_NOT_FOUND) << room;
    }
}

TEST(Paths, TheExactSpellingWinsAndANewNameTakesNoOtherSpelling) {
    const Card card;
    writeFile(card.folder / "a.jpg", "lower");
    writeFile(card.folder / "A.JPG", "upper");
    EXPECT_EQ(contentOf(card.path(u"a.jpg")), "lower");
    EXPECT_EQ(contentOf(card.path(u"A.JPG")), "upper");
    EXPECT_EQ(openError(card.path(u"a.JPG"), GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);
    EXPECT_EQ(errorOf(CreateDirectoryW(card.path(u"a.JPG").c_str(), nullptr)),
              ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(open(card.path(u"New"), GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_TRUE(open(card.path(u"NEW"), GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"A.JPG", u"a.jpg", u"New"));
}

TEST(Paths, EveryNameOfAWalkLeadsBackToItsFile) {
    const Card card;
    const std::vector<std::string> names = {
        "\xFF\xFE.jpg",       // no UTF-8
        "a\\b.jpg",           // no separator
        "line\nend\x7F\x01",  // control characters
        "e\xCC\x81t\xC3\xA9.jpg",
        "\xEF\xBF\xBE\xEF\xBF\xBF",    // what no XML document may hold
        "\xEF\x81\x9C.jpg",            // really U+F05C
        "\xEF\x81\x9C and \xFF",       // really U+F05C, and a byte
        "\xEF\x80\xAF..\xEF\x80\xAF",  // U+F02F, which must not become a slash
        "trailing dot.",
        " blanks ",
        "colon:stream",
        "~",
        std::string(255, '\x80'),
        "\xF0\x9F\x93\xB7",  // beyond the first plane
    };
    for (const std::string& name : names) writeFile(card.folder / name, name);
    fs::create_directory(card.folder / "f\xFFlder");
    writeFile(card.folder / "f\xFFlder" / "x\xFF", "inner");

    std::vector<std::string> contents;
    for (const WIN32_FIND_DATAW& entry : walk(card.path(u""))) {
        const std::u16string path = card.path(entry.cFileName);
        EXPECT_EQ(path.find_first_of(u"\n\x7F\xFFFE\xFFFF"), path.npos);
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            EXPECT_EQ(contentOf(path + u"\\" + walk(path).at(0).cFileName), "inner");
            continue;
        }
        EXPECT_TRUE(open(pathText(card.folder) + u"/" + entry.cFileName, 0));
        FileStatus status;
        EXPECT_TRUE(_wstat64i32(path.c_str(), status));
        EXPECT_EQ(GetFileAttributesW(path.c_str()), entry.dwFileAttributes);
        contents.push_back(contentOf(path));
        EXPECT_TRUE(DeleteFileW(path.c_str())) << utf8Text(path);
    }
    EXPECT_THAT(contents, ::testing::UnorderedElementsAreArray(names));
    EXPECT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"f\xF0FFlder"));

    // A copy gets the name of its original.
    EXPECT_TRUE(open(card.path(u"c\xF05Cpy\xF0FF"), GENERIC_WRITE, 0, CREATE_NEW));
    EXPECT_TRUE(fs::exists(card.folder / "c\\py\xFF"));
    // And no unit becomes a slash.
    EXPECT_TRUE(open(card.path(u"..\uF02Fup"), GENERIC_WRITE, 0, CREATE_NEW));
    EXPECT_TRUE(fs::exists(card.folder / "..\xEF\x80\xAFup"));
}

TEST(Paths, OfNamesThatReadTheSameOneIsListedAndMeant) {
    const Card card;
    // U+F0FF U+F0FE: both really, neither, the first, the last.
    const std::string names[] = {"a\xEF\x83\xBF\xEF\x83\xBE", "a\xFF\xFE", "a\xEF\x83\xBF\xFE",
                                 "a\xFF\xEF\x83\xBE"};
    for (const std::string& name : names) writeFile(card.folder / name, name);
    for (const std::string& name : names) {
        ASSERT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"a\xF0FF\xF0FE"));
        const auto entry = walk(card.path(u""))[0];
        EXPECT_EQ(entry.nFileSizeLow, name.size());
        EXPECT_EQ(contentOf(card.path(entry.cFileName)), name);
        EXPECT_TRUE(DeleteFileW(card.path(entry.cFileName).c_str()));
    }
    EXPECT_THAT(walk(card.path(u"")), ::testing::IsEmpty());
}

/// A card with links and special files, and a secret beside it.
struct HostileCard : Card {
    HostileCard() : Card(make(newFolder())) {}
    static fs::path make(const fs::path& top) {
        fs::create_directories(top / "card/DCIM");
        writeFile(top / "secret", "secret");
        fs::create_directory(top / "private");
        writeFile(top / "private/secret", "secret");
        const fs::path card = top / "card";
        writeFile(card / "real.jpg", "picture");
        fs::create_symlink("../real.jpg", card / "DCIM/inside.jpg");
        fs::create_symlink("../../secret", card / "DCIM/outside.jpg");
        fs::create_symlink(top / "secret", card / "absolute.jpg");
        fs::create_symlink(card / "real.jpg", card / "absolute inside.jpg");
        fs::create_symlink("/proc/self/root", card / "root");
        fs::create_symlink("../private", card / "private");
        fs::create_symlink("DCIM", card / "folder");
        fs::create_symlink("nowhere", card / "dangling.jpg");
        fs::create_symlink("loop", card / "loop");
        EXPECT_EQ(::mkfifo((card / "pipe.jpg").c_str(), 0600), 0);
        return card;
    }
};

TEST(HostileCard, NothingOnItLeadsOutOfItOrBlocks) {
    const HostileCard card;
    EXPECT_EQ(contentOf(card.path(u"DCIM\\inside.jpg")), "picture");
    EXPECT_EQ(contentOf(card.path(u"folder\\inside.jpg")), "picture");
    for (const char16_t* denied :
         {u"DCIM\\outside.jpg", u"absolute.jpg", u"absolute inside.jpg", u"root\\etc\\passwd",
          u"private\\secret", u"PRIVATE\\SECRET", u"pipe.jpg"}) {
        for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE})
            EXPECT_EQ(openError(card.path(denied), access), ERROR_ACCESS_DENIED)
                << utf8Text(denied);
        EXPECT_EQ(GetFileAttributesW(card.path(denied).c_str()), INVALID_FILE_ATTRIBUTES);
        EXPECT_EQ(openError(card.path(denied), GENERIC_WRITE, 0, CREATE_ALWAYS),
                  ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(openError(card.path(u"dangling.jpg")), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(open(card.path(u"dangling.jpg"), GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_FALSE(open(card.path(u"loop")));
    EXPECT_EQ(openError(card.path(u"private\\new"), GENERIC_WRITE, 0, CREATE_NEW),
              ERROR_ACCESS_DENIED);

    EXPECT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"DCIM", u"real.jpg"));
    EXPECT_THAT(namesOf(walk(card.path(u"dcim"))), ElementsAre(u"inside.jpg"));
    // Through a path of the machine, the links are the user's own.
    EXPECT_EQ(contentOf(pathText(card.folder / "absolute.jpg")), "secret");
    EXPECT_TRUE(open(u"/dev/null", GENERIC_WRITE));
    // A link goes alone.
    EXPECT_TRUE(DeleteFileW(card.path(u"DCIM\\inside.jpg").c_str()));
    EXPECT_EQ(contentOf(card.path(u"real.jpg")), "picture");
}

/// What becomes of these calls from now on; false where there are no filters.
bool filterCalls(std::initializer_list<std::pair<int, std::uint32_t>> calls) {
    std::vector<sock_filter> filter{{BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)}};
    for (const auto& [call, action] : calls) {
        filter.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<std::uint32_t>(call)});
        filter.push_back({BPF_RET | BPF_K, 0, 0, action});
    }
    filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW});
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// As on a kernel without openat2, and a file system that renames without a promise.
const std::pair<int, std::uint32_t> noFence{SYS_openat2, SECCOMP_RET_ERRNO | ENOSYS},
    noPromise{SYS_renameat2, SECCOMP_RET_ERRNO | EINVAL},
    noLinks{SYS_linkat, SECCOMP_RET_ERRNO | EPERM};

TEST(HostileCard, AnOldKernelFollowsNoLinkAndStillReplacesNothing) {
    if (!filterCalls({noFence, noPromise})) GTEST_SKIP() << "no system call filters here";
    const HostileCard card;
    EXPECT_EQ(contentOf(card.path(u"REAL.JPG")), "picture");
    EXPECT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"DCIM", u"real.jpg"));
    for (const char16_t* link : {u"DCIM\\inside.jpg", u"DCIM\\outside.jpg", u"absolute.jpg",
                                 u"private\\secret", u"folder\\inside.jpg"})
        EXPECT_FALSE(open(card.path(link))) << utf8Text(link);

    writeFile(card.folder / "other", "other");
    EXPECT_EQ(moveError(card.path(u"other"), card.path(u"real.jpg")), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(moveError(card.path(u"other"), card.path(u"moved")), ERROR_SUCCESS);
    EXPECT_EQ(moveError(card.path(u"DCIM"), card.path(u"PHOTOS")), ERROR_SUCCESS);
    EXPECT_THAT(namesOf(walk(card.path(u""))), ElementsAre(u"moved", u"PHOTOS", u"real.jpg"));
    EXPECT_EQ(contentOf(card.path(u"moved")), "other");
}

TEST(Files, AMoveWithoutLinksReplacesNothingAndLeavesNothingEmptyBehindAKill) {
    const fs::path folder = newFolder();
    const std::u16string a = pathText(folder / "a"), b = pathText(folder / "b"),
                         c = pathText(folder / "c");
    writeFile(folder / "a", "a");
    writeFile(folder / "b", "b");
    const auto isKilled = [&] {
        return filterCalls({noPromise, noLinks, {SYS_renameat, SECCOMP_RET_KILL_PROCESS}}) &&
               moveError(a, c) == ERROR_SUCCESS;
    };
    forked(isKilled);
    EXPECT_EQ(readFile(folder / "a"), "a");
    EXPECT_FALSE(fs::exists(folder / "c"));
    if (!filterCalls({noPromise, noLinks})) GTEST_SKIP() << "no system call filters here";
    EXPECT_EQ(moveError(a, b), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(moveError(a, c), ERROR_SUCCESS);
    EXPECT_EQ(readFile(folder / "b"), "b");
    EXPECT_EQ(readFile(folder / "c"), "a");
}

}  // namespace
}  // namespace zlk::test
