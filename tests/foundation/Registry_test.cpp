#include "foundation/Registry.h"

#include <gtest/gtest.h>

namespace zlk::test {
namespace {

void store(HKEY key, const WCHAR* name, DWORD type, const void* data, std::size_t size) {
    ASSERT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size)),
              ERROR_SUCCESS);
}

class Registry : public testing::Test {
  protected:
    const RegistryKey key =
        regCreateKey(HKEY_LOCAL_MACHINE, u"Software\\Registry_test", KEY_ALL_ACCESS);
};

TEST_F(Registry, ReadsTextsUpToItsLimitAndNothingElse) {
    const std::u16string longest(149, u'a');
    EXPECT_TRUE(regWriteString(key.get(), u"longest", longest));
    EXPECT_TRUE(regWriteString(key.get(), u"tooLong", longest + u'b'));
    store(key.get(), u"unterminated", REG_SZ, u"abc", 6);
    store(key.get(), u"fullAndUnterminated", REG_SZ, (longest + u'b').c_str(), 300);
    store(key.get(), u"severalTexts", REG_SZ, u"abc\0def", 16);
    store(key.get(), u"oddSize", REG_SZ, u"abc", 5);
    store(key.get(), u"empty", REG_SZ, u"", 0);
    store(key.get(), u"number", REG_DWORD, u"ab", 4);
    store(key.get(), u"binary", REG_BINARY, u"abc", 8);

    struct Case {
        const WCHAR* name;
        bool found;
        std::u16string text;
    };
    for (const Case& c :
         {Case{u"longest", true, longest}, Case{u"LONGEST", true, longest},
          Case{u"tooLong", false, u""}, Case{u"unterminated", true, u"abc"},
          Case{u"fullAndUnterminated", false, u""}, Case{u"severalTexts", true, u"abc"},
          Case{u"oddSize", true, u"ab"}, Case{u"empty", true, u""}, Case{u"number", false, u""},
          Case{u"binary", false, u""}, Case{u"missing", false, u""}}) {
        std::u16string text = u"before";
        EXPECT_EQ(regReadString(key.get(), c.name, text), c.found)
            << testing::PrintToString(c.name);
        EXPECT_EQ(text, c.text) << testing::PrintToString(c.name);
    }
}

TEST_F(Registry, ReadsNumbersOfTheirTypeOnly) {
    const DWORD number = 0xFFFFFFFE;
    store(key.get(), u"dword", REG_DWORD, &number, 4);
    store(key.get(), u"shortDword", REG_DWORD, &number, 2);
    store(key.get(), u"asText", REG_SZ, u"7", 4);
    std::uint32_t value = 1;
    for (const WCHAR* name : {u"shortDword", u"asText", u"missing"}) {
        EXPECT_FALSE(regReadDword(key.get(), name, value));
        EXPECT_EQ(value, 1u);
    }
    EXPECT_TRUE(regReadDword(key.get(), u"dword", value));
    EXPECT_EQ(value, 0xFFFFFFFE);
}

TEST_F(Registry, RefusesWhatItCantWriteWhole) {
    EXPECT_TRUE(regWriteString(key.get(), u"value", std::u16string(499, u'a')));
    EXPECT_FALSE(regWriteString(key.get(), u"value", std::u16string(500, u'b')));
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key.get(), u"value", nullptr, nullptr, nullptr, &size),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 1000u);

    const std::u16string cut(u"value\0more", 10);
    EXPECT_FALSE(regWriteString(key.get(), cut, u"c"));
    std::u16string text;
    EXPECT_FALSE(regReadString(key.get(), cut, text));
    EXPECT_FALSE(regOpenKey(HKEY_LOCAL_MACHINE, std::u16string(u"Software\0more", 13), KEY_READ));
}

}  // namespace
}  // namespace zlk::test
