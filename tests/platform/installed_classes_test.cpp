// The classes of installed modules, which stand in a file beside the platform's library and behind
// those that the user has registered.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/resource.h>

#include "platform/component.h"
#include "platform/modules.h"
#include "platform/registrar.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

// A user's machine beside installed classes: its library lies in a tree of its own.
ZLK_CHILD(usesInstalledClasses) {
    ::setenv("ZLK_MACHINE", child.arguments.at(0).c_str(), 1);
    const fs::path classes = child.arguments.at(1);
    addDiagnosticSink(keepLine);
    if (!underSanitizer) {  // which looks at memory through descriptors
        rlimit files;
        ::getrlimit(RLIMIT_NOFILE, &files);
        const rlimit none{0, files.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        EXPECT_EQ(tryOpen(HKEY_CLASSES_ROOT, u"Some.Thing"), ERROR_TOO_MANY_OPEN_FILES);
        GUID id;
        EXPECT_EQ(CLSIDFromProgID(u"Some.Thing", &id),
                  HRESULT_FROM_WIN32(ERROR_TOO_MANY_OPEN_FILES));
        EXPECT_EQ(errorOf(LoadLibraryW(pathText(classes).c_str())), ERROR_TOO_MANY_OPEN_FILES);
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
    const RegistryKey server =
        openKey(HKEY_CLASSES_ROOT, u"CLSID\\{a}\\InprocServer32", KEY_ALL_ACCESS);
    EXPECT_EQ(text(server.get(), nullptr), "Some.so");
    EXPECT_EQ(text(server.get(), u"ThreadingModel"), "A/b");
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, u"CLSID"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(server.get(), nullptr), ERROR_ACCESS_DENIED);

    EXPECT_EQ(setText(server.get(), u"", u"/own/Some.so"), ERROR_SUCCESS);
    EXPECT_EQ(tryCreate(HKEY_CLASSES_ROOT, u"clsid\\{A}\\Own"), ERROR_SUCCESS);
    EXPECT_EQ(tryCreate(HKEY_CLASSES_ROOT, u"Another"), ERROR_SUCCESS);
    EXPECT_EQ(text(server.get(), u""), "/own/Some.so");
    EXPECT_THAT(valueNames(server.get()), ElementsAre("", "ThreadingModel"));
    EXPECT_THAT(subKeys(HKEY_CLASSES_ROOT), ElementsAre("Another", "CLSID", "Some.Thing"));
    EXPECT_THAT(subKeys(openKey(HKEY_CLASSES_ROOT, u"CLSID\\{A}").get()),
                ElementsAre("InprocServer32", "Own"));

    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, u"CLSID"), ERROR_SUCCESS);
    EXPECT_EQ(text(server.get(), u""), "Some.so");

    const fs::path above = classes.parent_path().parent_path();
    for (const auto& [place, mode] : {std::pair(classes, 0644), std::pair(above, 0755)}) {
        fs::permissions(place, fs::perms(0777));
        fs::last_write_time(classes, fs::file_time_type::clock::now());  // a file to be read anew
        EXPECT_EQ(tryOpen(HKEY_CLASSES_ROOT, u"Some.Thing"), ERROR_ACCESS_DENIED);
        EXPECT_THAT(said, HasSubstr(place.string() + " is not trusted"));
        fs::permissions(place, fs::perms(mode));
    }
    EXPECT_TRUE(openKey(HKEY_CLASSES_ROOT, u"Another"));
    return testing::UnitTest::GetInstance()->Failed();
}

TEST(RegistryClasses, OfTheInstalledModulesStandBehindTheUsersOwn) {
    setText(createKey(HKEY_CLASSES_ROOT, u"Some.Thing").get(), nullptr, u"a/b");
    const RegistryKey server = createKey(HKEY_CLASSES_ROOT, u"CLSID\\{A}\\InprocServer32");
    setText(server.get(), nullptr, u"/build/lib/zlkcamtr/Some.so");
    setText(server.get(), u"ThreadingModel", u"A/b");

    Dl_info library;
    ASSERT_TRUE(::dladdr(reinterpret_cast<const void*>(&RegCloseKey), &library));
    const fs::path lib = newFolder(), classes = lib / "zlkcamtr/classes.db";
    fs::create_directory(lib / "zlkcamtr");
    fs::permissions(lib / "zlkcamtr", fs::perms(0755));
    const fs::path original = library.dli_fname;
    fs::copy_file(original, lib / original.filename());
    EXPECT_EQ(saveInstalledClasses(pathText(classes).c_str()), ERROR_SUCCESS);
    EXPECT_EQ(saveInstalledClasses(pathText(classes).c_str()), ERROR_FILE_EXISTS);
    EXPECT_EQ(fs::status(classes).permissions(), fs::perms(0644));

    ::setenv("LD_LIBRARY_PATH", lib.c_str(), 1);
    ChildProcess child("usesInstalledClasses", {newFolder() / "machine", classes});
    std::string failures;
    for (std::string line; !(line = child.hear()).empty();) failures += line + "\n";
    EXPECT_EQ(child.wait(), 0) << failures;
    EXPECT_EQ(std::distance(fs::directory_iterator(lib / "zlkcamtr"), {}), 1);
}

}  // namespace zlk::test
