// Which folder makes a machine, and for whom it is made: seen from the store that appears in it.

#include <gmock/gmock.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/named_objects.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

// What the platform library finds as the user database: a home folder that a test chooses.
static char databaseHome[4096] = "/nowhere";

extern "C" [[gnu::visibility("default")]] int getpwuid_r(uid_t user, passwd* entry, char*, size_t,
                                                         passwd** found) {
    *entry = {};
    entry->pw_name = const_cast<char*>("root");
    entry->pw_uid = user;
    entry->pw_dir = databaseHome;
    *found = entry;
    return 0;
}

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

// Arguments: the folder to stand in, then NAME=VALUE for the environment; DATABASE= is for the home
// of the user database. Says what making a key gives, and again after a change of the folder; then
// whether the name "Global\\Object" was new, the text of the value "kept", and the diagnostics; and
// holds all that until it is spoken to.
ZLK_CHILD(makesItsMachine) {
    for (const char* name : {"ZLK_MACHINE", "XDG_DATA_HOME", "HOME"}) ::unsetenv(name);
    fs::current_path(child.arguments.at(0));
    for (std::size_t i = 1; i < child.arguments.size(); ++i) {
        const std::string& word = child.arguments[i];
        const std::string name = word.substr(0, word.find('='));
        const std::string value = word.substr(name.size() + 1);
        if (name == "DATABASE") {
            ::snprintf(databaseHome, sizeof databaseHome, "%s", value.c_str());
        } else {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
    ::umask(0077);
    addDiagnosticSink(keepLine);
    const UniqueHandle object(CreateMutexW(nullptr, 0, u"Global\\Object"));
    const bool made = object && GetLastError() != ERROR_ALREADY_EXISTS;
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, scene)));
    fs::current_path("/");
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, u"Software\\Again")));
    child.say(made ? "made" : "held");
    const RegistryKey key = openKey(HKEY_LOCAL_MACHINE, scene, KEY_ALL_ACCESS);
    child.say(text(key.get(), u"kept"));
    setText(key.get(), u"kept", u"this");
    child.say(said);
    child.hear();
    return 0;
}

/// A child that makes the machine of an environment, in which % stands for `folder`.
struct Maker {
    Maker(const fs::path& folder, std::vector<std::string> environment)
        : child("makesItsMachine", arguments(folder, std::move(environment))) {
        for (std::string* each : {&result, &again, &object, &kept, &said}) *each = child.hear();
        EXPECT_EQ(again, result);
    }
    static std::vector<std::string> arguments(const fs::path& folder,
                                              std::vector<std::string> environment) {
        for (std::string& word : environment)
            if (const auto at = word.find('%'); at != word.npos) word.replace(at, 1, folder);
        environment.insert(environment.begin(), folder);
        return environment;
    }
    void end() {
        child.say("end");
        EXPECT_EQ(child.wait(), 0);
    }
    ChildProcess child;
    std::string result, again, object, kept, said;
};

std::string makeMachine(const fs::path& folder, const std::vector<std::string>& environment) {
    return Maker(folder, environment).result;
}

TEST(MachineRoot, IsNamedByOneVariableOrTheUserDatabase) {
    const struct {
        std::vector<std::string> environment;
        const char* root;
    } cases[] = {
        {{"ZLK_MACHINE=%/a/b/", "DATABASE=%/h"}, "a/b"},
        {{"ZLK_MACHINE=here/../there"}, "there"},
        {{"ZLK_MACHINE=", "XDG_DATA_HOME=%/x", "HOME=%/y", "DATABASE=%/h"},
         "h/.local/share/zlkcamtr"},
    };
    for (const auto& each : cases) {
        const fs::path folder = newFolder();
        EXPECT_EQ(makeMachine(folder, each.environment), "0") << each.root;
        const fs::path root = folder / each.root;
        EXPECT_EQ(fs::status(root / "registry.db").permissions(), fs::perms(0600)) << each.root;
        EXPECT_EQ(fs::status(root).permissions(), fs::perms(0700)) << each.root;
    }
    const fs::path file = newFolder() / "file";
    writeFile(file, "precious");
    for (const fs::path& noFolder : {file, file / "below"})
        EXPECT_EQ(makeMachine("/", {"ZLK_MACHINE=" + noFolder.string()}), "5");
    EXPECT_EQ(readFile(file), "precious");
    EXPECT_EQ(makeMachine("/", {"HOME=" + newFolder().string(), "DATABASE="}), "5");
}

TEST(MachineRoot, IsOneForAllProcessesOfAUser) {
    const fs::path folder = newFolder();
    const Maker first(folder, {"XDG_DATA_HOME=%/a", "HOME=%/b", "DATABASE=%/h"});
    const Maker second(folder, {"XDG_DATA_HOME=%/c", "DATABASE=%/h"});
    const Maker third(folder, {"HOME=%/d", "DATABASE=%/h"});
    EXPECT_EQ(first.object, "made");
    EXPECT_EQ(second.object, "held");
    EXPECT_EQ(third.object, "held");
}

TEST(MachineRoot, TakesOverWhatTheEnvironmentUsedToName) {
    const std::pair<std::string, std::string> places[] = {{"XDG_DATA_HOME=%/x/", "x/zlkcamtr"},
                                                          {"HOME=%/x", "x/.local/share/zlkcamtr"}};
    for (const auto& [variable, earlier] : places) {
        SCOPED_TRACE(variable);
        const fs::path folder = newFolder();
        fs::create_directories(folder / earlier);
        fs::permissions(folder / earlier, fs::perms(0700));
        Maker(folder, {"ZLK_MACHINE=%/" + earlier}).end();
        Maker now(folder, {variable, "DATABASE=%/h"});
        EXPECT_EQ(now.kept, "this");
        EXPECT_FALSE(fs::exists(folder / earlier));
        now.end();
        EXPECT_EQ(Maker(folder, {"DATABASE=%/h"}).kept, "this");
    }
}

TEST(MachineRoot, NamesAnEarlierOneThatItCannotTakeOver) {
    const fs::path folder = newFolder();
    const std::vector<std::string> environment{"XDG_DATA_HOME=%/x", "DATABASE=%/h"};
    const auto isNamed =
        AllOf(HasSubstr(folder / "x/zlkcamtr"), HasSubstr(folder / "h/.local/share/zlkcamtr"));
    Maker user(folder, {"ZLK_MACHINE=%/x/zlkcamtr"});
    {
        const Maker whileItIsUsed(folder, environment);
        EXPECT_EQ(whileItIsUsed.object, "made");
        EXPECT_THAT(whileItIsUsed.said, isNamed);
    }
    user.end();
    // There is another one now: both are kept.
    const Maker later(folder, environment);
    EXPECT_THAT(later.said, isNamed);
    EXPECT_EQ(Maker(folder, {"ZLK_MACHINE=%/x/zlkcamtr"}).kept, "this");
    // Without settings there is nothing to lose.
    fs::create_directory(folder / "y");
    fs::create_directory(folder / "y/zlkcamtr");
    EXPECT_EQ(Maker(folder, {"XDG_DATA_HOME=%/y", "DATABASE=%/h"}).said, "");
}

TEST(MachineRoot, LeavesAnEarlierOneOfOthersAlone) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    const fs::path folder = newFolder(), earlier = folder / "x/zlkcamtr";
    Maker(folder, {"ZLK_MACHINE=" + earlier.string()}).end();
    ASSERT_EQ(::chown(earlier.c_str(), somebodyElse, 0), 0);
    const Maker now(folder, {"XDG_DATA_HOME=%/x", "DATABASE=%/h"});
    EXPECT_EQ(now.said, "");
    EXPECT_TRUE(fs::exists(earlier / "registry.db"));
}

TEST(MachineRoot, OfAGroupIsTheAdministratorsAndSharedWithNobodyElse) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root gives a group its machine";
    const struct {
        mode_t mode;
        uid_t owner;
        const char* result;
    } cases[] = {{02770, 0, "0"}, {0770, 0, "5"}, {02777, 0, "5"}, {02770, somebodyElse, "5"}};
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
