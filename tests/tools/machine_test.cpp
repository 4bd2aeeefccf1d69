#include <gmock/gmock.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>

#include <fstream>

#include "tests/support/TestMachine.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Register, makesTheComponentsUsableAndUnregisterTakesThemAway) {
    const JsonAnswer before = expectJson(13, {"devices"});
    EXPECT_THAT(before["error"]["advice"].text, HasSubstr("zlkcam register"));
    EXPECT_EQ(zlkcam({"register"}).status, 0);
    EXPECT_EQ(zlkcam({"devices"}).status, 0);

    const fs::path classes = newFolder() / "classes.db";
    EXPECT_EQ(zlkcam({"register", "--installed", classes}).status, 0);
    EXPECT_TRUE(fs::exists(classes));
    EXPECT_EQ(zlkcam({"register", "--installed", "/missing/classes.db"}).status, 6);

    EXPECT_EQ(zlkcam({"unregister"}).status, 0);
    EXPECT_EQ(zlkcam({"devices"}).status, 13);

    const fs::path bad = newFolder() / "bad.so", platform = "../libzlkplatform.so";
    writeFile(bad, "no module");
    for (const fs::path& path : {fs::path("/missing.so"), bad, moduleFolder() / platform})
        EXPECT_EQ(zlkcam({"register", path}).status, 13) << path;
}

/// Expects each command to fail so, for a reason of this machine.
void expectTrouble(int status, const std::string& reason, const std::string& advice) {
    const std::vector<std::string> commands[] = {
        {"devices"}, {"mount", newFolder()}, {"settings", "list", "HKCR"}, {"register"}};
    for (const auto& command : commands) {
        const JsonAnswer answer = expectJson(status, command);
        EXPECT_THAT(answer["error"]["message"].text, HasSubstr(reason)) << command[0];
        EXPECT_THAT(answer["error"]["advice"].text, HasSubstr(advice)) << command[0];
    }
}

TEST(Machine, thatCannotBeUsedIsNamedWithItsReason) {
    const fs::path& root = machineRoot();
    ASSERT_EQ(zlkcam({"register"}).status, 0);
    fs::permissions(root, fs::perms(0777));
    expectTrouble(14, root.string() + " is not used: everybody may write it", "chmod go-w");
    fs::permissions(root, fs::perms(0700));
    ASSERT_EQ(zlkcam({"devices"}).status, 0);

    const fs::path file = newFolder() / "file";
    writeFile(file, "precious");
    ::setenv("ZLK_MACHINE", file.c_str(), 1);
    expectTrouble(14, file.string() + " is not used: Not a directory", "ZLK_MACHINE");
    ::setenv("ZLK_MACHINE", root.c_str(), 1);
    EXPECT_EQ(readFile(file), "precious");
}

TEST(Machine, withABrokenStoreNamesItAndWhatToDo) {
    ASSERT_EQ(zlkcam({"register"}).status, 0);
    const fs::path store = machineRoot() / "registry.db";
    const std::string whole = readFile(store);
    std::string otherVersion = whole;
    otherVersion.at(63) = 2;
    for (const std::string& bytes :
         {std::string(10'000, 'x'), whole.substr(0, 5000), std::string(), otherVersion}) {
        SCOPED_TRACE(bytes.substr(0, 100));
        writeFile(store, bytes);
        expectTrouble(14, store.string(), "Move that file away");
        EXPECT_EQ(readFile(store), bytes);
    }
    // What the advice says does help.
    for (const char* end : {"", "-wal", "-shm"}) fs::remove(store.string() + end);
    EXPECT_EQ(zlkcam({"register"}).status, 0);
    EXPECT_EQ(zlkcam({"devices"}).status, 0);
}

TEST(Machine, onWhichNoMoreFilesCanBeOpenedIsToldSo) {
    ASSERT_EQ(zlkcam({"register"}).status, 0);
    const auto devices = [](const char* limit) {
        return runProgram({"/bin/sh", "-c", "ulimit -n \"$0\" && exec \"$@\"", limit,
                           programFolder() / "zlkcam", "devices", "--json"});
    };
    for (const char* limit : {"8", "12", "20", "30"}) {
        const ProgramResult result = devices(limit);
        EXPECT_EQ(result.status, 12) << limit;
        EXPECT_THAT(result.output, HasSubstr("ulimit -n")) << limit;
    }
    EXPECT_EQ(devices("64").status, 0);
}

// On a disk of the machine's own.
ZLK_CHILD(usesAFullDisk) {
    fs::create_directories(machineRoot());
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        ::mount("tmpfs", machineRoot().c_str(), "tmpfs", 0, "size=16m,mode=0700") != 0)
        return 77;
    EXPECT_EQ(zlkcam({"register"}).status, 0);
    EXPECT_EQ(zlkcam({"mount", newFolder(), "--letter", "E"}).status, 0);
    const fs::path filler = machineRoot() / "filler";
    std::ofstream(filler) << std::string(20 << 20, 'x');
    for (const char* command : {"locked", "info", "list"}) {
        const JsonAnswer answer = expectJson(6, {command, "E"});
        EXPECT_THAT(answer["error"]["message"].text, HasSubstr("The disk is full")) << command;
    }
    const JsonAnswer set =
        expectJson(14, {"settings", "set", "Test", "v", std::string(10'000, 'x')});
    EXPECT_THAT(set["error"]["message"].text, HasSubstr("disk is full"));
    EXPECT_THAT(set["error"]["advice"].text, HasSubstr("Make room"));
    fs::remove(filler);
    EXPECT_EQ(zlkcam({"locked", "E"}).status, 0);
    return testing::Test::HasFailure();
}

TEST(Machine, onAFullDiskSaysThatAndNotThatADeviceIsHeld) {
    const int status = ChildProcess("usesAFullDisk").wait();
    if (status == 77) GTEST_SKIP() << "only root mounts a disk";
    EXPECT_EQ(status, 0);
}

TEST(Settings, areSetReadListedAndDeleted) {
    const std::string key = "HKLM\\Software\\Test", sub = key + "\\Sub";
    ASSERT_EQ(zlkcam({"settings", "set", key, "text", "é \"q\" \\"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", key, "@", "default"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", key, "h", "00,ff", "--type", "hex"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", sub, "n", "4294967295", "--type", "dword"}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "set", key, "h", "4294967296", "--type", "dword"}).status, 1);
    EXPECT_EQ(zlkcam({"settings", "set", key, "h", "xx", "--type", "hex"}).status, 1);

    EXPECT_EQ(zlkcam({"settings", "get", "software\\TEST", "TEXT"}).output, "é \"q\" \\\n");
    EXPECT_EQ(zlkcam({"settings", "get", sub, "n"}).output, "4294967295\n");
    const JsonAnswer list = json({"settings", "list", key});
    ASSERT_EQ(list["keys"].items.size(), 1u);
    EXPECT_EQ(list["keys"].items[0].text, "Sub");
    EXPECT_THAT(list["values"].each("name"), ElementsAre("text", "", "h"));
    EXPECT_THAT(list["values"].each("type"), ElementsAre("sz", "sz", "hex"));
    EXPECT_THAT(list["values"].each("content"), ElementsAre("é \"q\" \\", "default", "00,ff"));
    EXPECT_EQ(zlkcam({"settings", "delete", key, "text"}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "get", key, "text"}).status, 14);
    EXPECT_EQ(zlkcam({"settings", "delete", key, ""}).status, 0);
    EXPECT_THAT(json({"settings", "list", key})["values"].each("name"), ElementsAre("h"));
    EXPECT_EQ(zlkcam({"settings", "delete", key}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "list", key}).status, 14);
    EXPECT_EQ(zlkcam({"settings", "delete", "HKLM"}).status, 1);
}

TEST(Settings, comeBackTheSameFromTheirTextForm) {
    const std::string key = "HKLM\\Software\\Test";
    const fs::path first = newFolder() / "first.reg";
    zlkcam({"settings", "set", key, "a\"b\\", "text"});
    zlkcam({"settings", "set", key + "\\Sub\\Deep", "h", "01,02", "--type", "hex"});
    zlkcam({"settings", "set", key + "\\Sub2", "n", "7", "--type", "dword"});
    ASSERT_EQ(zlkcam({"settings", "export", first, key}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "export", first, key}).status, 6);  // it is there

    EXPECT_EQ(zlkcam({"settings", "delete", key}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "import", first}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "export", "-", key}).output, readFile(first));
    EXPECT_EQ(json({"settings", "export", "-", key})["text"].text, readFile(first));
}

TEST(Settings, aBadFileChangesNothing) {
    const std::string header = "Windows Registry Editor Version 5.00\n";
    const fs::path file = newFolder() / "bad.reg";
    const struct {
        std::string text;
        int status;
    } files[] = {
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n\"a\"=\"b\"\n\"c\"=nonsense\n", 15},
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n[HKEY_CURRENT_USER\\Bad]\n", 1},
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n[-HKEY_LOCAL_MACHINE]\n", 1},
        {std::string(1 << 20, '\0'), 15},
    };
    for (const auto& bad : files) {
        writeFile(file, bad.text);
        EXPECT_EQ(zlkcam({"settings", "import", file}).status, bad.status) << bad.text;
        EXPECT_EQ(zlkcam({"settings", "list", "Bad"}).status, 14);
    }
    const ProgramResult unreadable =
        runProgram({"sh", "-c", (programFolder() / "zlkcam").string() + " settings import - < /"});
    EXPECT_EQ(unreadable.status, 6) << unreadable.error;
    // What the store refuses is told with its line.
    writeFile(file, header + "[HKEY_LOCAL_MACHINE\\Bad\\" + std::string(300, 'k') + "]\n");
    const JsonAnswer result = expectJson(14, {"settings", "import", file});
    EXPECT_THAT(result["error"]["message"].text, HasSubstr("line 2"));
    EXPECT_EQ(zlkcam({"settings", "import", "/missing.reg"}).status, 6);
}

}  // namespace
}  // namespace zlk::test
