#include <gmock/gmock.h>

#include "tests/platform/registry_support.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

using testing::ElementsAre;

TEST(RegistryNames, IgnoreCaseKeepTheirSpellingAndTheirOrder) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, u"Software\\Straße\\Čamera");
    for (const WCHAR* name : {u"beta", u"Alpha", u"ÉTÉ", u"alpine", u"été2", u"ALPHA\\below"})
        EXPECT_EQ(tryCreate(key.get(), name), ERROR_SUCCESS);
    const RegistryKey again = openKey(HKEY_LOCAL_MACHINE, u"SOFTWARE\\straße\\čAMERA");
    EXPECT_THAT(subKeys(again.get()), ElementsAre("Alpha", "alpine", "beta", "ÉTÉ", "été2"));
    EXPECT_THAT(subKeys(openKey(again.get(), u"été").get()), ElementsAre());

    for (const WCHAR* name : {u"Zulu", u"été", u"", u"Mike"}) setText(key.get(), name, u"first");
    EXPECT_EQ(setText(key.get(), u"ZULU", u"second"), ERROR_SUCCESS);
    EXPECT_THAT(valueNames(again.get()), ElementsAre("Zulu", "été", "", "Mike"));
    EXPECT_EQ(text(again.get(), u"zulu"), "second");
    EXPECT_EQ(text(again.get(), nullptr), "first");

    EXPECT_EQ(RegDeleteValueW(key.get(), u"zUlu"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key.get(), u"Zulu"), ERROR_FILE_NOT_FOUND);
    setText(key.get(), u"zulu", u"third");
    EXPECT_THAT(valueNames(again.get()), ElementsAre("été", "", "Mike", "zulu"));
}

TEST(RegistryNames, OfHalfCharactersStayApart) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    const std::u16string names[] = {u"\xD800", u"\xDC00", u"\xFEFFname", u"name", u"\xFFFD"};
    for (const std::u16string& name : names) {
        tryCreate(key.get(), name);
        setText(key.get(), name.c_str(), name);
    }
    WCHAR name[8];
    for (DWORD i = 0; i < std::size(names); ++i) {
        DWORD length = 8;
        ASSERT_EQ(RegEnumValueW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(std::u16string(name, length), names[i]);
    }
    EXPECT_EQ(subKeys(key.get()).size(), std::size(names));
}

TEST(RegistryNames, HaveTheirLimits) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    const std::u16string longest(255, u'n');
    EXPECT_EQ(tryCreate(key.get(), longest), ERROR_SUCCESS);
    EXPECT_EQ(tryCreate(key.get(), longest + u'n'), ERROR_INVALID_PARAMETER);
    for (const std::u16string& path : {longest + u'n', std::u16string(u"\\a"), longest + u'\\',
                                       longest + u"\\\\b", std::u16string(100'000, u'\\')})
        EXPECT_EQ(tryOpen(key.get(), path), ERROR_FILE_NOT_FOUND);

    std::u16string deep = u"Deep";
    for (int level = 2; level <= 512; ++level) deep += u"\\d";
    EXPECT_EQ(tryCreate(HKEY_LOCAL_MACHINE, deep), ERROR_SUCCESS);
    EXPECT_EQ(tryCreate(HKEY_LOCAL_MACHINE, deep + u"\\d"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"deep"), ERROR_SUCCESS);
    EXPECT_FALSE(openKey(HKEY_LOCAL_MACHINE, deep));

    WCHAR name[256];
    const auto enumerate = [&](DWORD index, DWORD room) {
        return RegEnumKeyExW(key.get(), index, name, &room, nullptr, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(enumerate(0, 255), ERROR_MORE_DATA);
    EXPECT_EQ(enumerate(0, 256), ERROR_SUCCESS);
    EXPECT_EQ(std::u16string(name), longest);
    EXPECT_EQ(enumerate(1, 256), ERROR_NO_MORE_ITEMS);
}

TEST(RegistryValues, ComeBackWithTheirTypeWhateverItIs) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    const struct {
        const WCHAR* name;
        DWORD type;
        Bytes data;
    } values[] = {
        {u"none", REG_NONE, {}},
        {u"odd text", REG_SZ, {'a', 0, 0}},
        {u"short number", REG_DWORD, {1}},
        {u"wide number", 11, {1, 2, 3, 4, 5, 6, 7, 8}},
        {u"unheard of", 0xFFFFFFFF, Bytes(4096, 7)},
        {u"large", REG_BINARY, Bytes(4097, 8)},
        {u"largest", 7, Bytes(1024 * 1024, 9)},
    };
    for (const auto& value : values) {
        EXPECT_EQ(setBytes(key.get(), value.name, value.data, value.type), ERROR_SUCCESS);
        const Answer expected{ERROR_SUCCESS, value.type, value.data};
        EXPECT_TRUE(query(key.get(), value.name) == expected) << utf8Text(value.name);
    }
    EXPECT_EQ(setBytes(key.get(), u"too large", Bytes(1024 * 1024 + 1)), ERROR_INVALID_PARAMETER);

    DWORD count = 0, longest = 0, largest = 0;
    EXPECT_EQ(RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &count, &longest, &largest, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(count, std::size(values));
    EXPECT_EQ(longest, 12u);
    EXPECT_EQ(largest, 1024u * 1024);
}

TEST(RegistryValues, ThatStandAlreadyCostNoWrite) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    for (const WCHAR* name : {u"First", u"Last"}) setText(key.get(), name, u"same");
    const auto anew = [&](const WCHAR* name) {
        constexpr WCHAR same[] = u"same";
        EXPECT_EQ(setValueAnew(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(same),
                               sizeof same),
                  ERROR_SUCCESS);
    };
    const auto log = [] { return readFile(machineRoot() / "registry.db-wal"); };
    const std::string before = log();
    EXPECT_EQ(setText(key.get(), u"FIRST", u"same"), ERROR_SUCCESS);
    anew(u"Last");
    EXPECT_TRUE(log() == before);

    anew(u"First");
    EXPECT_THAT(valueNames(key.get()), ElementsAre("Last", "First"));
    anew(u"FIRST");
    EXPECT_THAT(valueNames(key.get()), ElementsAre("Last", "FIRST"));
    EXPECT_EQ(setBytes(key.get(), u"first", {'s', 0}, REG_BINARY), ERROR_SUCCESS);
    EXPECT_EQ(setBytes(key.get(), u"first", {'s', 0}, REG_SZ), ERROR_SUCCESS);
    EXPECT_EQ(text(key.get(), u"first"), "s");
}

TEST(RegistryValues, TellTheRoomThatTheyNeed) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    for (const DWORD full : {10u, 5000u}) {
        setBytes(key.get(), u"v", Bytes(full, 1));
        Bytes room(full, 0);
        DWORD size = full - 1, type = 0, length = 2;
        EXPECT_EQ(RegQueryValueExW(key.get(), u"v", nullptr, &type, room.data(), &size),
                  ERROR_MORE_DATA);
        EXPECT_EQ(size, full);
        EXPECT_EQ(room, Bytes(full, 0));
        size = 0;
        EXPECT_EQ(RegQueryValueExW(key.get(), u"v", nullptr, nullptr, nullptr, &size), 0);
        EXPECT_EQ(size, full);
        WCHAR name[2];
        EXPECT_EQ(RegEnumValueW(key.get(), 0, name, &length, nullptr, &type, room.data(), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(room, Bytes(full, 1));
    }
    BYTE one = 0;
    EXPECT_EQ(RegQueryValueExW(key.get(), u"v", nullptr, nullptr, &one, nullptr),
              ERROR_INVALID_PARAMETER);
}

TEST(RegistryHandles, ThatAreNoneAreRefusedAndRootsStayOpen) {
    HKEY stale = createKey(HKEY_LOCAL_MACHINE, scene).get();
    int local = 0;
    for (const HKEY key : {HKEY{}, stale, reinterpret_cast<HKEY>(&local),
                           reinterpret_cast<HKEY>(std::uintptr_t{0x80000001}),
                           reinterpret_cast<HKEY>(~std::uintptr_t{0})}) {
        HKEY result = stale;
        EXPECT_EQ(RegOpenKeyExW(key, u"", 0, KEY_READ, &result), ERROR_INVALID_HANDLE);
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(query(key, u"x").result, ERROR_INVALID_HANDLE);
        EXPECT_EQ(setText(key, u"x", u""), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteTreeW(key, u"x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
    EXPECT_TRUE(openKey(HKEY_LOCAL_MACHINE, scene));
}

TEST(RegistryHandles, OpenedForReadingRefuseToWrite) {
    createKey(HKEY_LOCAL_MACHINE, u"Software\\Scene\\sub");
    const RegistryKey key = openKey(HKEY_LOCAL_MACHINE, scene);
    EXPECT_EQ(setText(key.get(), u"v", u"x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(key.get(), u"v"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteTreeW(key.get(), u"sub"), ERROR_ACCESS_DENIED);
    // Who may make keys is a matter of the store, not of the handle.
    EXPECT_EQ(tryCreate(key.get(), u"new"), ERROR_SUCCESS);
    EXPECT_EQ(tryCreate(key.get(), u"SUB"), ERROR_SUCCESS);
}

TEST(RegistryHandles, OfADeletedKeySayItWentAwayAlsoWhenOneOfItsNameReturns) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, u"Software\\Scene\\a\\b");
    setText(key.get(), u"v", u"x");
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\scene\\A"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\scene\\A"), ERROR_FILE_NOT_FOUND);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(query(key.get(), u"v").result, ERROR_KEY_DELETED);
        EXPECT_EQ(setText(key.get(), u"v", u"x"), ERROR_KEY_DELETED);
        EXPECT_EQ(tryCreate(key.get(), u"c"), ERROR_KEY_DELETED);
        const RegistryKey next = createKey(HKEY_LOCAL_MACHINE, u"Software\\Scene\\a\\b");
        EXPECT_EQ(query(next.get(), u"v").result, ERROR_FILE_NOT_FOUND);
    }
}

}  // namespace zlk::test
