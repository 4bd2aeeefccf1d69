#include "foundation/Registry.h"

#include <gtest/gtest.h>

namespace zlk::test {
namespace {

struct Registry : testing::Test {
    void store(const WCHAR* name, DWORD type, const void* data, DWORD size) const {
        ASSERT_EQ(RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size),
                  ERROR_SUCCESS);
    }
    const RegistryKey key =
        regCreateKey(HKEY_LOCAL_MACHINE, u"Software\\Registry_test", KEY_ALL_ACCESS);
};

TEST_F(Registry, ReadsTextsUpToItsLimitAndNothingElse) {
    const std::u16string longest(149, u'a');
    EXPECT_TRUE(regWriteString(key.get(), u"longest", longest));
    EXPECT_TRUE(regWriteString(key.get(), u"tooLong", longest + u'b'));
    store(u"unterminated", REG_SZ, u"abc", 6);
    store(u"fullAndUnterminated", REG_SZ, (longest + u'b').c_str(), 300);
    store(u"severalTexts", REG_SZ, u"abc\0def", 16);
    store(u"oddSize", REG_SZ, u"abc", 5);
    store(u"empty", REG_SZ, u"", 0);
    store(u"number", REG_DWORD, u"ab", 4);
    store(u"binary", REG_BINARY, u"abc", 8);

    std::u16string text;
    for (const auto& [name, expected] : {std::pair{u"longest", longest},
                                         {u"LONGEST", longest},
                                         {u"unterminated", u"abc"},
                                         {u"severalTexts", u"abc"},
                                         {u"oddSize", u"ab"},
                                         {u"empty", u""}}) {
        text = u"before";
        EXPECT_TRUE(regReadString(key.get(), name, text)) << testing::PrintToString(name);
        EXPECT_EQ(text, expected) << testing::PrintToString(name);
    }
    for (const WCHAR* name : {u"tooLong", u"fullAndUnterminated", u"number", u"binary", u"none"}) {
        text = u"before";
        EXPECT_FALSE(regReadString(key.get(), name, text)) << testing::PrintToString(name);
        EXPECT_EQ(text, u"");
    }
}

TEST_F(Registry, ReadsNumbersOfTheirTypeOnly) {
    const DWORD number = 0xFFFFFFFE;
    store(u"dword", REG_DWORD, &number, 4);
    store(u"shortDword", REG_DWORD, &number, 2);
    store(u"asText", REG_SZ, u"7", 4);
    std::uint32_t value = 1;
    for (const WCHAR* name : {u"shortDword", u"asText", u"missing"})
        EXPECT_FALSE(regReadDword(key.get(), name, value));
    EXPECT_EQ(value, 1u);
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
