// Which folder makes a machine, and for whom it is made: seen from the store that appears in it.

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/named_objects.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

// Arguments: the folder to stand in, then NAME=VALUE for the environment.
ZLK_CHILD(makesItsMachine) {
    for (const char* name : {"ZLK_MACHINE", "XDG_DATA_HOME", "HOME"}) ::unsetenv(name);
    fs::current_path(child.arguments.at(0));
    for (std::size_t i = 1; i < child.arguments.size(); ++i) {
        const std::string& word = child.arguments[i];
        ::setenv(word.substr(0, word.find('=')).c_str(), word.c_str() + word.find('=') + 1, 1);
    }
    ::umask(0077);
    const UniqueHandle object(CreateMutexW(nullptr, 0, u"Global\\Object"));
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, scene)));
    fs::current_path("/");
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, u"Software\\Again")));
    return 0;
}

std::string makeMachine(const fs::path& folder, const std::vector<std::string>& environment) {
    std::vector<std::string> arguments{folder};
    arguments.insert(arguments.end(), environment.begin(), environment.end());
    ChildProcess child("makesItsMachine", arguments);
    const std::string result = child.hear();
    EXPECT_EQ(child.hear(), result);
    return result;
}

TEST(MachineRoot, IsTheFirstPlaceThatTheEnvironmentNames) {
    const struct {
        std::vector<std::string> environment;  // % stands for the test's folder
        const char* root;
    } cases[] = {
        {{"ZLK_MACHINE=%/a/b/", "XDG_DATA_HOME=%/x"}, "a/b"},
        {{"ZLK_MACHINE=", "XDG_DATA_HOME=%/x", "HOME=%/h"}, "x/zlkcamtr"},
        {{"XDG_DATA_HOME=relative", "HOME=%/h"}, "h/.local/share/zlkcamtr"},
        {{"ZLK_MACHINE=here/../there"}, "there"},
    };
    for (const auto& each : cases) {
        const fs::path folder = newFolder();
        std::vector<std::string> environment = each.environment;
        for (std::string& word : environment)
            if (const auto at = word.find('%'); at != word.npos) word.replace(at, 1, folder);
        EXPECT_EQ(makeMachine(folder, environment), "0") << each.root;
        const fs::path root = folder / each.root;
        EXPECT_EQ(fs::status(root / "registry.db").permissions(), fs::perms(0600)) << each.root;
        EXPECT_EQ(fs::status(root).permissions(), fs::perms(0700)) << each.root;
    }
    const fs::path file = newFolder() / "file";
    writeFile(file, "precious");
    for (const fs::path& noFolder : {file, file / "below"})
        EXPECT_EQ(makeMachine("/", {"ZLK_MACHINE=" + noFolder.string()}), "5");
    EXPECT_EQ(readFile(file), "precious");
}

TEST(MachineRoot, OfAGroupIsTheAdministratorsAndSharedWithNobodyElse) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root gives a group its machine";
    const struct {
        mode_t mode;
        uid_t owner;
        const char* result;
    } cases[] = {{02770, 0, "0"}, {0770, 0, "5"}, {02777, 0, "5"}, {02770, 65534, "5"}};
    for (const auto& each : cases) {
        const fs::path root = newFolder();
        ASSERT_EQ(::chown(root.c_str(), each.owner, 4321), 0);
        ASSERT_EQ(::chmod(root.c_str(), each.mode), 0);
        EXPECT_EQ(makeMachine("/", {"ZLK_MACHINE=" + root.string()}), each.result) << each.mode;
        if (*each.result != '0') continue;
        struct stat status;
        for (const char* name : {"registry.db", "registry.db-wal", "registry.db-shm"}) {
            ASSERT_EQ(::stat((root / name).c_str(), &status), 0) << name;
            EXPECT_EQ(status.st_mode & 07777, 0660u) << name;
            EXPECT_EQ(status.st_gid, 4321u) << name;
        }
        const fs::path object = root / "run/global/Object";
        EXPECT_EQ(fs::status(object).permissions(), fs::perms(0660));
        fs::permissions(object, fs::perms(0600));  // as of a maker who was killed right then
        makeMachine("/", {"ZLK_MACHINE=" + root.string()});
        EXPECT_EQ(fs::status(object).permissions(), fs::perms(0660));
    }
}

}  // namespace
}  // namespace zlk::test
