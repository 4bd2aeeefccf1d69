#include "platform/registrar.h"

#include <gmock/gmock.h>

#include "tests/platform/registry_support.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

constexpr RegistrarWord words[] = {{u"PATH", u"/a 'path'/50% {x}\\y"}, {u"PERCENT", u"%"}};
constexpr HRESULT noResource = HRESULT_FROM_WIN32(ERROR_RESOURCE_NOT_FOUND);

class Registrar : public ::testing::Test {
  protected:
    HRESULT run(WORD script, bool install) {
        return runRegistryScript(module_, script, install, words);
    }

    const HMODULE module_ =
        LoadLibraryW(pathText(programFolder().parent_path() / "lib/test_modules/first.so").c_str());
};

bool exists(const std::u16string& key) {
    return static_cast<bool>(openKey(HKEY_LOCAL_MACHINE, key));
}

std::string valueOf(const std::u16string& path, const WCHAR* name) {
    const RegistryKey key = openKey(HKEY_LOCAL_MACHINE, path);
    const Answer answer = query(key.get(), name);
    if (answer.result || answer.type != REG_DWORD) return text(key.get(), name);
    DWORD number;
    std::memcpy(&number, answer.data.data(), sizeof number);
    return std::to_string(number);
}

TEST_F(Registrar, WritesWhatAScriptSaysAndTakesItAway) {
    ASSERT_EQ(run(10, true), S_OK);
    const std::u16string key = u"Software\\ZlkTest";
    EXPECT_EQ(valueOf(key, nullptr), "it's a {text} of 100%");
    EXPECT_EQ(valueOf(key, u"Number"), "4294967295");
    EXPECT_EQ(valueOf(key, u"Hex number"), "255");
    EXPECT_EQ(valueOf(key, u"A name with blanks"), "word");
    EXPECT_EQ(valueOf(key + u"\\Key with blanks", nullptr), "");
    EXPECT_TRUE(exists(key + u"\\Key with blanks\\Bare"));
    EXPECT_EQ(valueOf(key + u"\\Replaced", u"Kept"), "/a 'path'/50% {x}\\y");

    // What others wrote stays, but for that below a key which is replaced.
    createKey(HKEY_LOCAL_MACHINE, key + u"\\Replaced\\Old");
    createKey(HKEY_LOCAL_MACHINE, key + u"\\Other");
    ASSERT_EQ(run(10, true), S_OK);
    EXPECT_FALSE(exists(key + u"\\Replaced\\Old"));
    EXPECT_TRUE(exists(key + u"\\Other"));
    ASSERT_EQ(run(10, false), S_OK);
    EXPECT_TRUE(exists(key + u"\\Other"));
    EXPECT_FALSE(exists(key + u"\\Replaced"));
    EXPECT_EQ(valueOf(key, u"Number"), "<2>");

    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (key + u"\\Other").c_str());
    EXPECT_EQ(run(10, false), S_OK) << "twice";
    EXPECT_FALSE(exists(key));
    EXPECT_TRUE(exists(u"Software"));
}

TEST_F(Registrar, RefusesAWrongScriptBeforeItWritesAnything) {
    WORD script = 100;
    for (; FindResourceW(module_, script, u"REGISTRY"); ++script) {
        EXPECT_EQ(run(script, true), E_INVALIDARG) << script - 99 << " in wrong.txt";
        EXPECT_EQ(run(script, false), E_INVALIDARG) << script - 99 << " in wrong.txt";
    }
    EXPECT_GT(script, 120);
    for (const char16_t* key : {u"Key", u"First"}) EXPECT_FALSE(exists(key));
    EXPECT_EQ(run(99, true), noResource);
    EXPECT_EQ(runRegistryScript(nullptr, 10, true, words), noResource);
    EXPECT_EQ(runRegistryScript(module_, 10, true, {}), E_INVALIDARG) << "no words";
}

TEST_F(Registrar, GivesTheErrorOfAStoreThatOthersMayWrite) {
    fs::create_directory(machineRoot());
    fs::permissions(machineRoot(), fs::perms(0700));
    writeFile(machineRoot() / "registry.db", "");
    fs::permissions(machineRoot() / "registry.db", fs::perms(0666));
    for (const bool install : {true, false}) EXPECT_EQ(run(10, install), E_ACCESSDENIED);
}

}  // namespace
}  // namespace zlk::test
