#include "platform/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;

const std::u16string loneHigh{char16_t{0xD83D}}, loneLow{char16_t{0xDE00}};

TEST(Text, ConvertsEveryCharacterThereAndBack) {
    for (const std::size_t front : {0, 1, 3, 7, 8}) {  // beside the steps of the ASCII runs
        std::u16string all(front, u'a');
        for (char32_t c = 0; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 101) {
            if (c >= 0xD800 && c <= 0xDFFF) continue;
            if (c > 0xFFFF) all += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            all += static_cast<char16_t>(c > 0xFFFF ? 0xDC00 + (c & 0x3FF) : c);
        }
        EXPECT_EQ(wideText(utf8Text(all)), all);
    }
    EXPECT_EQ(utf8Text(u"a\0\u00E9\u20AC\U0001F600"s), "a\0\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"s);
}

TEST(Text, ReplacesWhatIsNotUtf8OrFailsStrictly) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"\xC0\x80", u"\uFFFD\uFFFD"},                      // overlong
        {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
        {"\xFF\xFE", u"\uFFFD\uFFFD"},
        {"\x80z", u"\uFFFDz"},                        // a stray continuation
        {"abcdefgh\xE2\x82", u"abcdefgh\uFFFD"},      // cut at the end
        {"\xE2\x82z\xF0\x9F\x98", u"\uFFFDz\uFFFD"},  // cut in the middle
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(wideText(bytes), text) << utf8Text(text);
        SetLastError(0);
        EXPECT_EQ(errorOf(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                              static_cast<int>(bytes.size()), nullptr, 0)),
                  ERROR_NO_UNICODE_TRANSLATION);
    }
    for (const std::u16string& lone : {loneHigh, loneLow, loneHigh + u"x", loneHigh + loneHigh}) {
        EXPECT_EQ(utf8Text(lone).substr(0, 3), "\xEF\xBF\xBD");
        EXPECT_EQ(errorOf(WideCharToMultiByte(CP_ACP, WC_ERR_INVALID_CHARS, lone.data(),
                                              static_cast<int>(lone.size()), nullptr, 0)),
                  ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(Text, ConvertsIntoTheRoomThatIsThere) {
    WCHAR wide[4] = {u'#', u'#', u'#', u'#'};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "\xC3\xA4z", -1, nullptr, 0), 3);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "\xC3\xA4z", -1, wide, 3), 3);
    EXPECT_EQ(std::u16string_view(wide, 4), u"\u00E4z\0#"s);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\0b", 3, wide, 4), 3);
    EXPECT_EQ(std::u16string_view(wide, 3), u"a\0b"s);

    char narrow[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, narrow, 3), 3);
    EXPECT_EQ(std::string_view(narrow, 4), "\xE2\x82\xAC#");
    EXPECT_EQ(errorOf(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", -1, narrow, 3)),
              ERROR_INSUFFICIENT_BUFFER);

    for (const int senseless : {MultiByteToWideChar(1252, 0, "a", 1, wide, 4),
                                MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide, 4),
                                MultiByteToWideChar(CP_UTF8, 0, "a", -2, wide, 4),
                                MultiByteToWideChar(CP_UTF8, 0, "a", 1, nullptr, 4),
                                MultiByteToWideChar(CP_UTF8, 0, "a", 1, wide, -1)})
        EXPECT_EQ(senseless, 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(Text, ComparesWithoutCase) {
    EXPECT_EQ(upperCase(u"az{`\u00E4\u00DF\u00FF\u03C9\u0434\u0142\u1F80"s),
              u"AZ{`\u00C4\u00DF\u0178\u03A9\u0414\u0141\u1F88");
    const std::u16string kept = u"AZ\u00D7\u00F7\u0131\u017F" + loneHigh;
    EXPECT_EQ(upperCase(kept), kept);
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const WCHAR once = upperCase(static_cast<WCHAR>(unit));
        ASSERT_EQ(upperCase(once), once) << unit;
        ASSERT_EQ(once < 0x80, unit < 0x80) << unit;
    }
    EXPECT_TRUE(equalIgnoringCase(u"\u00C9t\u00E9", u"\u00E9T\u00C9"));
    EXPECT_FALSE(equalIgnoringCase(u"ab", u"abc"));
    EXPECT_LT(compareIgnoringCase(u"A", u"b"), 0);
    EXPECT_GT(compareIgnoringCase(u"b", u"A"), 0);
    EXPECT_LT(compareIgnoringCase(u"ab", u"ABC"), 0);
    EXPECT_LT(compareIgnoringCase(u"a", u"_"), 0);  // by the upper-case units
}

TEST(Text, ReadsNumbers) {
    const std::pair<const WCHAR*, int> cases[] = {
        {u"x1", 0},         {u" \t\r\n\u3000-12x", -12}, {u"+7", 7},
        {u"+-7", 0},        {u"2147483647", INT_MAX},    {u"4294967295", -1},
        {u"4294967296", 0}, {u"-2147483648", INT_MIN},   {nullptr, 0}};
    for (const auto& [text, number] : cases) EXPECT_EQ(_wtoi(text), number);
    for (const WCHAR space : u" \t\v\u0085\u00A0\u2009\u3000"s) EXPECT_TRUE(iswspace(space));
    for (const WCHAR other : u"\0\ba_\u200B\uFEFF"s) EXPECT_FALSE(iswspace(other));
}

TEST(Format, PrintsEachKind) {
    const std::uint32_t big = 0x80000001;
    const std::u16string wide = u"w\u00E4";
    const std::string narrow = "n\xC3\xA4";
    EXPECT_EQ(formatText(u"%d %i %u %d", -5, 7, big, big), u"-5 7 2147483649 -2147483647");
    EXPECT_EQ(formatText(u"%x %X %lx %04X %#x", -1, 0xABC, -1, 0xAB, 16),
              u"ffffffff ABC ffffffff 00AB 0x10");
    EXPECT_EQ(formatText(u"%I64u %lld %I64d %I32d %hu", ~0ull, LLONG_MIN, 1, 2, 3),
              u"18446744073709551615 -9223372036854775808 1 2 3");
    // Small types are widened by their value.
    EXPECT_EQ(formatText(u"%d %x %d %x", std::uint16_t{0xFFFF}, std::int8_t{-1}, true, u'A'),
              u"65535 ffffffff 1 41");
    EXPECT_EQ(formatText(u"%s %S %hs %ls %s", wide, narrow, wide, narrow, u"z"),
              u"w\u00E4 n\u00E4 w\u00E4 n\u00E4 z");
    EXPECT_EQ(formatText(u"%c:\\ %C %%", u'E', 'x'), u"E:\\ x %");
    EXPECT_EQ(formatText(u"%p", 0xBEEF), u"000000000000BEEF");
    const char* noText = nullptr;
    EXPECT_EQ(formatText(u"%s", noText), u"(null)");
}

TEST(Format, KeepsWidthAndPrecision) {
    EXPECT_EQ(formatText(u"[%5d|%-5d|%05d|%+d|% d|%.3d]", 42, 42, -42, 42, 42, 7),
              u"[   42|42   |-0042|+42| 42|007]");
    EXPECT_EQ(formatText(u"[%5s|%-5s|%.2s|%5.1s|%3c]", u"ab", "\xC3\xA4", u"abc", "xyz", u'c'),
              u"[   ab|\u00E4    |ab|    x|  c]");
    EXPECT_EQ(formatText(u"[%*d|%*d|%.*s|%.*s]", 4, 1, -4, 2, 1, u"ab", -1, u"ab"),
              u"[   1|2   |a|ab]");
    // A narrow text is never cut inside of a character.
    EXPECT_EQ(formatText(u"[%.2s]", "a\xF0\x9F\x98\x80"), u"[a]");
    // Whatever a format asks for, a field stays within bounds.
    EXPECT_LE(formatText(u"%999999999999d%.99999999999d%*d", 1, 2, INT_MIN, 3).size(), 3000u);
    EXPECT_LE(formatText(u"%2147483648s", u"x").size(), 1000u);
}

TEST(Format, PrintsSenseWhereTheArgumentsDoNotFit) {
    EXPECT_EQ(formatText(u"%s %d %c %u", 5, "x", u"y"), u"? ? ? ?");
    EXPECT_EQ(formatText(u"%d", 1, 2, 3), u"1");
    EXPECT_EQ(formatText(u"%*d", "x"), u"?");
    EXPECT_EQ(formatText(u"%n %q %"), u"%n %q %");
    EXPECT_EQ(formatText(u"%-08.3l"), u"%-08.3l");
    EXPECT_EQ(formatText(u"%s", "\xFF"), u"\uFFFD");
}

TEST(Format, WritesWhatFitsAndCountsAll) {
    const std::array<FormatArgument, 2> arguments{FormatArgument(u"abc"), FormatArgument(12345)};
    for (std::size_t room = 0; room <= 12; ++room) {
        std::vector<WCHAR> buffer(room + 2, u'#');
        EXPECT_EQ(formatWide(buffer.data(), room, u"%s-%d", arguments), 9u);
        const std::u16string fits = room ? u"abc-12345"s.substr(0, room - 1) + u'\0' : u""s;
        EXPECT_EQ(std::u16string(buffer.data(), fits.size()), fits);
        EXPECT_EQ(buffer[fits.size()], u'#') << room;
    }
}

}  // namespace
}  // namespace zlk::test
