#include "tools/zlkcam/RegFile.h"

#include <gtest/gtest.h>

#include "platform/text.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

const std::string header = "Windows Registry Editor Version 5.00\n";

std::string utf16(std::string_view text, bool little) {
    std::string bytes = little ? "\xFF\xFE" : "\xFE\xFF";
    for (const WCHAR unit : wideText(text)) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes += little ? low : high;
        bytes += little ? high : low;
    }
    return bytes;
}

SettingsValue value(std::u16string name, DWORD type, std::vector<BYTE> data) {
    return {std::move(name), type, std::move(data), false};
}

TEST(RegFile, whatIsWrittenReadsBackTheSame) {
    SettingsKey key{u"HKEY_LOCAL_MACHINE\\Soft]ware\\[odd \"key\" é", false, {}, 0};
    key.values = {
        value(u"", REG_SZ, textData(u"the default one")),
        value(u"quote\" and \\", REG_SZ, textData(u"C:\\path\\ \"quoted\" \\")),
        value(u"=hex", REG_SZ, textData(u"=hex\\")),
        value(u" blanks ", REG_SZ, textData(u" ;no comment ")),
        value(u"lines", REG_SZ, textData(u"two\nlines")),
        value(u"empty", REG_SZ, textData(u"")),
        value(u"zeros", REG_SZ, textData(std::u16string(u"a\0b", 3))),
        value(u"no terminator", REG_SZ, {65, 0}),
        value(u"odd", REG_SZ, {65}),
        value(u"lone surrogate", REG_SZ, {0x00, 0xD8, 0, 0}),
        value(u"nothing", REG_SZ, {}),
        value(u"number", REG_DWORD, {0xEF, 0xBE, 0xAD, 0xDE}),
        value(u"short number", REG_DWORD, {1, 2}),
        value(u"bytes", REG_BINARY, {0, 1, 255}),
        value(u"no bytes", REG_BINARY, {}),
        value(u"other type", 0xABCD, {7}),
    };
    std::vector<std::string> leftOut;
    const auto read = parseSettingsText(writeSettingsText({key}, leftOut));
    EXPECT_TRUE(leftOut.empty());
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].path, key.path);
    ASSERT_EQ(read[0].values.size(), key.values.size());
    for (std::size_t i = 0; i < key.values.size(); ++i) {
        SCOPED_TRACE(utf8Text(key.values[i].name));
        EXPECT_EQ(read[0].values[i].name, key.values[i].name);
        EXPECT_EQ(read[0].values[i].type, key.values[i].type);
        EXPECT_EQ(read[0].values[i].data, key.values[i].data);
    }
}

TEST(RegFile, aNameThatALineCannotHoldIsLeftOutAndNamed) {
    SettingsKey good{u"HKEY_LOCAL_MACHINE\\a", false, {value(u"x\ny", REG_SZ, textData(u"1"))}, 0};
    SettingsKey bad{u"HKEY_LOCAL_MACHINE\\a\nb", false, {}, 0};
    std::vector<std::string> leftOut;
    const auto read = parseSettingsText(writeSettingsText({good, bad}, leftOut));
    EXPECT_EQ(leftOut.size(), 2u);
    ASSERT_EQ(read.size(), 1u);
    EXPECT_TRUE(read[0].values.empty());
}

TEST(RegFile, readsWhatOtherProgramsWrite) {
    const std::string text = header +
                             "\r\n; a comment\r\n[-HKEY_LOCAL_MACHINE\\gone]\r\n"
                             "  [HKEY_LOCAL_MACHINE\\a]\r\n@=\"d\"\r\n\"gone\"=-\r\n"
                             "\"n\" = DWORD:0000000A\r\n"
                             "\"b\"=hex(7):41,00,\\\r\n  42,00,\\\r\n  00,00\r\n\r\n";
    for (const std::string& bytes :
         {text, "\xEF\xBB\xBF" + text, utf16(text, true), utf16(text, false)}) {
        const auto keys = parseSettingsText(bytes);
        ASSERT_EQ(keys.size(), 2u);
        EXPECT_TRUE(keys[0].remove);
        EXPECT_EQ(keys[0].path, u"HKEY_LOCAL_MACHINE\\gone");
        ASSERT_EQ(keys[1].values.size(), 4u);
        EXPECT_TRUE(keys[1].values[1].remove);
        EXPECT_EQ(keys[1].values[2].data, (std::vector<BYTE>{10, 0, 0, 0}));
        EXPECT_EQ(keys[1].values[3].type, 7u);
        EXPECT_EQ(keys[1].values[3].data, (std::vector<BYTE>{65, 0, 66, 0, 0, 0}));
    }
}

TEST(RegFile, aDamagedFileIsRefusedWithItsLine) {
    const auto refuses = [](const std::string& text, int line) {
        SCOPED_TRACE(text);
        try {
            parseSettingsText(text);
            ADD_FAILURE() << "taken";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::BadDocument);
            EXPECT_NE(std::string(failure.what()).find("line " + std::to_string(line) + ":"),
                      std::string::npos)
                << failure.what();
        }
    };
    for (const std::string& file : {std::string(), std::string("REGEDIT4\n"),
                                    std::string("\xFF\xFE\x61"), header + "[k\xFF]\n"})
        refuses(file, 1);
    for (const char* second : {"\"early\"=\"x\"", "[open", "[]"}) refuses(header + second, 2);
    for (const char* value :
         {"\"v=\"x\"\n", "\"v\"\n", "\"v\"=\"open\n", "\"v\"=\"x\" more\n", "\"v\"=\"ends in \\",
          "\"v\"=dword:\n", "\"v\"=dword:123456789\n", "\"v\"=hex(:00\n",
          "\"v\"=hex(fffffffff):00\n", "\"v\"=hex:0,100\n", "\"v\"=hex:00,\\\n"})
        refuses(header + "[k]\n" + value, 3);
    refuses(header + "[-k]\n\"v\"=\"x\"\n", 3);
    refuses(header + "[k]\n\n\"v\"=hex\n", 4);
}

}  // namespace
}  // namespace zlk
