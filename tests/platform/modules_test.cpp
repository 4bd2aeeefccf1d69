#include "platform/modules.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/platform/registry_support.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const fs::path testModules = programFolder().parent_path() / "lib/test_modules";

HMODULE load(const fs::path& path) {
    return LoadLibraryW(pathText(path).c_str());
}

/// A module that a test may do anything with.
fs::path copyOfModule(const fs::path& folder, const char* name = "copy.so") {
    fs::copy_file(testModules / "first.so", folder / name);
    return folder / name;
}

TEST(Modules, AreLoadedByPathCountedAndGiveAddressesOfTheirOwn) {
    const fs::path path = copyOfModule(newFolder());
    const HMODULE module = load(path);
    ASSERT_TRUE(module) << GetLastError();
    EXPECT_EQ(load(path), module);
    void* const entry = GetProcAddress(module, "DllGetClassObject");
    ASSERT_TRUE(entry);
    EXPECT_EQ(moduleFromAddress(entry), module);
    for (const char* name : {"NoSuchEntry", "malloc", "SysAllocString", ""}) {
        SetLastError(0);
        EXPECT_EQ(errorOf(GetProcAddress(module, name)), ERROR_PROC_NOT_FOUND) << name;
    }
    EXPECT_FALSE(GetProcAddress(nullptr, "DllGetClassObject"));

    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(moduleFromAddress(entry), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(moduleFromAddress(entry), nullptr) << "nothing may pin a module";
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(FreeLibrary(nullptr));
}

TEST(Modules, ANameEndingInDllStandsForTheModuleHereInEitherCase) {
    const fs::path folder = newFolder();
    copyOfModule(folder, "Exact.so");
    copyOfModule(folder, "lower.so");
    writeFile(folder / "foreign.dll", "MZ");
    for (const char* name : {"Exact.dll", "Exact.DLL", "LOWER.Dll", "lower.dll"}) {
        const HMODULE module = load(folder / name);
        EXPECT_TRUE(module) << name;
        FreeLibrary(module);
    }
    for (const char* name : {"EXACT.dll", "foreign.dll", ".dll", "LOWER.SO"})
        EXPECT_FALSE(load(folder / name)) << name;
}

TEST(Modules, WhatIsNoModuleIsNotFoundAndHoldsNobodyUp) {
    const fs::path folder = newFolder();
    copyOfModule(folder);
    writeFile(folder / "text.so", "not a module");
    writeFile(folder / "empty.so", "");
    fs::copy_file(testModules / "first.so", folder / "cut.so");
    fs::resize_file(folder / "cut.so", 5000);
    ASSERT_EQ(::mkfifo((folder / "pipe.so").c_str(), 0600), 0);
    const std::u16string names[] = {
        pathText(folder),
        pathText(folder / "text.so"),
        pathText(folder / "empty.so"),
        pathText(folder / "cut.so"),
        pathText(folder / "pipe.so"),
        pathText(folder / "missing.so"),
        u"/" + std::u16string(10'000, u'x'),
        std::u16string(10'000, u'x') + u".dll",
        u"copy.so",  // a bare name: not in the current folder, nor in the loader's
        u"libc.so.6",
        u"\xD800.so",
        u"",
    };
    fs::current_path(folder);
    for (const std::u16string& name : names) {
        SetLastError(0);
        EXPECT_EQ(errorOf(LoadLibraryW(name.c_str())), ERROR_MOD_NOT_FOUND)
            << utf8Text(name.substr(0, 80));
    }
    EXPECT_FALSE(LoadLibraryW(nullptr));
    fs::current_path("/");
}

/// Loads a module and lets go of it; what the platform said where that was refused.
std::string refusalOf(const fs::path& path) {
    said.clear();
    for (const DiagnosticSink sink : {keepLine, keepLine, DiagnosticSink{}})
        addDiagnosticSink(sink);
    const HMODULE module = load(path);
    removeDiagnosticSink(keepLine);
    EXPECT_EQ(errorOf(module), module ? ERROR_SUCCESS : ERROR_ACCESS_DENIED) << path;
    EXPECT_EQ(std::count(said.begin(), said.end(), ';'), module ? 0 : 1) << "a sink hears it once";
    FreeLibrary(module);
    return said;
}

TEST(Modules, ThatOthersMayChangeOrReplaceAreRefusedByThePlaceAtFault) {
    const fs::path above = newFolder(), folder = above / "a/b", elsewhere = newFolder();
    fs::create_directories(folder);
    const fs::path path = copyOfModule(folder), link = elsewhere / "link.so",
                   folderLink = elsewhere / "link" / ".." / "b" / "copy.so";
    fs::create_symlink(path, link);
    fs::create_symlink(folder, elsewhere / "link");
    const struct {
        const fs::path& place;
        unsigned mode;
        bool refused, refusedByLink;
    } cases[] = {
        {path, 0757, true, true},
        {path, 0775, true, true},
        {folder, 0777, true, true},
        {folder, 01777, true, true},
        {folder, 0770, true, true},
        {above, 0777, true, true},
        {above, 01777, false, false},
        // Who may exchange a link may at least choose among what is trusted.
        {elsewhere, 0777, false, true},
        {elsewhere, 01777, false, false},
        {elsewhere, 0755, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.place << std::oct << ' ' << c.mode);
        const testing::Matcher<std::string> refusal =
            HasSubstr(c.place.string() + " is not trusted");
        fs::permissions(c.place, fs::perms(c.mode));
        EXPECT_THAT(refusalOf(path), c.refused ? refusal : "");
        for (const fs::path& way : {link, folderLink})
            EXPECT_THAT(refusalOf(way), c.refusedByLink ? refusal : "");
        fs::permissions(c.place, fs::perms(0755));
    }
    fs::permissions(path, fs::perms(0777));
    said.clear();
    EXPECT_FALSE(load(path));
    EXPECT_EQ(said, "") << "nobody listens any more";
}

TEST(Modules, BelowAFolderOfOthersAreRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root gives folders away";
    const fs::path above = newFolder(), between = above / "a", path = between / "b/copy.so",
                   link = above / "link.so";
    fs::create_directories(path.parent_path());
    copyOfModule(path.parent_path());
    fs::create_symlink(path, link);
    const auto give = [](const fs::path& place, uid_t user, gid_t group, unsigned mode) {
        ASSERT_EQ(::lchown(place.c_str(), user, group), 0);
        if (!fs::is_symlink(place)) fs::permissions(place, fs::perms(mode));
    };
    give(above, 0, 4321, 0775);
    EXPECT_THAT(refusalOf(path), HasSubstr(above.string() + " is not trusted: group 4321"));
    give(above, 0, 0, 0775);
    EXPECT_EQ(refusalOf(path), "") << "the user's private group has no other member";
    give(above, 0, 0, 01777);
    give(link, somebodyElse, 0, 0);
    EXPECT_THAT(refusalOf(link), HasSubstr(link.string() + " is not trusted: it belongs to"));
    give(between, somebodyElse, 0, 0755);
    EXPECT_THAT(refusalOf(path), HasSubstr(between.string() + " is not trusted: it belongs to"));
}

TEST(Modules, SayTheirPathWithinTheRoomGiven) {
    const fs::path path = copyOfModule(newFolder(), "na\xC3\xAFve \xFF.so");
    // A byte that isn't UTF-8 has a unit of its own in a path's text, and leads back.
    std::u16string text = pathText(path.parent_path()) + u"/na\u00EFve \xF0FF.so";
    const HMODULE module = LoadLibraryW(text.c_str());
    ASSERT_TRUE(module) << GetLastError();
    WCHAR buffer[600];
    const auto size = static_cast<DWORD>(text.size());
    EXPECT_EQ(GetModuleFileNameW(module, buffer, size + 1), size);
    EXPECT_EQ(std::u16string(buffer), text);
    EXPECT_EQ(GetModuleFileNameW(module, buffer, size), size);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::u16string(buffer), text.substr(0, size - 1));
    EXPECT_EQ(GetModuleFileNameW(module, buffer, 0), 0u);
    EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 600), 0u);
    FreeLibrary(module);
}

/// A resource's bytes; "-" where there is none.
template <class Type>
std::string resource(HMODULE module, WORD id, Type type) {
    SetLastError(0);
    const HRSRC found = FindResourceW(module, id, type);
    if (!found) {
        EXPECT_EQ(GetLastError(), ERROR_RESOURCE_NOT_FOUND);
        return "-";
    }
    return {static_cast<const char*>(LoadResource(module, found)), SizeofResource(module, found)};
}

TEST(Resources, AreFoundByNumberAndType) {
    const LoadedModule loaded(testModules / "first.so");
    const HMODULE module = loaded.get();
    EXPECT_EQ(resource(module, 65535, u"BYTES"), std::string("any\0bytes\n", 10));
    EXPECT_EQ(resource(module, 65534, u"BYTES"), "-");
    for (const WCHAR* type : {u"BYTE", u"BYTES OF ALL KINDS", u"\u0142YTES"})
        EXPECT_EQ(resource(module, 65535, type), "-");
    EXPECT_EQ(resource(module, 65535, RT_STRING), "-");
    EXPECT_EQ(resource(nullptr, 65535, u"BYTES"), "-");
    EXPECT_EQ(SizeofResource(module, nullptr), 0u);
    EXPECT_EQ(LoadResource(module, nullptr), nullptr);

    // String tables have blocks of sixteen counted texts.
    const auto text = [&](unsigned id) {
        const std::string bytes = resource(module, static_cast<WORD>(id / 16 + 1), RT_STRING);
        std::u16string units(bytes.size() / 2, u'\0');
        std::memcpy(units.data(), bytes.data(), units.size() * 2);
        std::size_t at = 0;
        for (unsigned i = 0; i < id % 16; ++i) at += 1u + units.at(at);
        return utf8Text(units.substr(at + 1, units.at(at)));
    };
    EXPECT_EQ(text(2600), "ZL Glimmerbox 283 camera");
    EXPECT_EQ(text(2601), "a \"quoted\" \\ text; with all sorts of signs");
    EXPECT_EQ(text(2602), "");
    EXPECT_EQ(text(2608), "next block");
    EXPECT_EQ(resource(module, 2600 / 16, RT_STRING), "-");
}

TEST(Resources, NothingIsReadBehindANoteThatClaimsTooMuch) {
    const LoadedModule module(testModules / "no_classes.so");
    EXPECT_EQ(resource(module.get(), 1, u"BYTES"), "data");
    for (const WORD id : {2, 3}) EXPECT_EQ(resource(module.get(), id, u"BYTES"), "-") << id;
}

}  // namespace
}  // namespace zlk::test
