#include "ptp/PtpDataStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ptp/Raised.h"
#include "tests/ptp/Received.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;

TEST(PtpDataStream, WritesStringsAsPtpHasThem) {
    PtpDataStream stream(64);
    stream.writeString(wString(u"abc"));
    stream.writeString(wString());
    EXPECT_EQ(written(stream), hex("04 6100 6200 6300 0000 00"));

    PtpDataStream large(1024);
    large.writeString(wString(std::u16string(254, u'x')));
    EXPECT_EQ(large.cursor(), 1 + 255 * 2u);
    EXPECT_EQ(raisedBy([&] { large.writeString(wString(std::u16string(255, u'x'))); }),
              PTP_GENERAL_ERROR);
}

TEST(PtpDataStream, GrowsByHalfBeforeItIsFull) {
    PtpDataStream stream(1024);
    stream.setCursor(1019);
    stream.writeU32(1);
    EXPECT_EQ(stream.size(), 1024u);
    stream.setCursor(1020);
    stream.writeU32(0x04030201);
    EXPECT_EQ(stream.size(), 1536u);
    stream.setCursor(1020);
    EXPECT_EQ(stream.readU32(), 0x04030201u);
    PtpDataStream empty;  // grows by half of nothing
    EXPECT_EQ(raisedBy([&] { empty.writeU16(1); }), PTP_GENERAL_ERROR);
    EXPECT_EQ(raisedBy([&] { empty.writeString(wString()); }), PTP_GENERAL_ERROR);
}

TEST(PtpDataStream, ReadsWhatIsThereAndNothingBehindIt) {
    Received stream(
        hex("02000000 0500 0700  03 6100 0000 6200  01 0000  03000000 05000000 00000000 07000000"));
    std::vector<std::uint16_t> shorts{1};
    stream.readU16Array(shorts);
    EXPECT_THAT(shorts, ElementsAre(1, 5, 7));
    EXPECT_EQ(stream.readString().view(), u"a");  // ends at its zero
    EXPECT_EQ(stream.cursor(), 15u);              // and is passed whole
    EXPECT_EQ(stream.readString().length, 0u);
    std::vector<std::uint32_t> longs;
    stream.readU32Array(longs);
    EXPECT_THAT(longs, ElementsAre(5, 7));
    EXPECT_EQ(raisedBy([&] { stream.readByte(); }), PTP_GENERAL_ERROR);
    stream.setCursor(0xFFFFFFFF);
    EXPECT_EQ(raisedBy([&] { stream.readU64(); }), PTP_GENERAL_ERROR);

    Received cut(hex("FF 6100 6200"));
    EXPECT_EQ(raisedBy([&] { cut.readString(); }), PTP_GENERAL_ERROR);
    Received lying(hex("FFFFFFFF 01000000"));
    EXPECT_EQ(raisedBy([&] { lying.readU32Array(longs); }), PTP_GENERAL_ERROR);
    Received ended(hex("01000000 02 6100 6200"));
    ended.endReadsAt(4);
    EXPECT_EQ(ended.readU32(), 1u);
    EXPECT_EQ(ended.readString().length, 0u);
    EXPECT_EQ(raisedBy([&] { ended.readByte(); }), PTP_GENERAL_ERROR);
    ended.endReadsAt(6);
    EXPECT_EQ(raisedBy([&] { ended.readString(); }), PTP_GENERAL_ERROR);
    Received unended(hex("02 6100 6200"));
    EXPECT_EQ(unended.readString().view(), u"ab");
}

TEST(wString, KeepsItsTextWhenAnEmptyOneIsAssigned) {
    wString text(u"Vol1");
    text.assign(wString());
    text.assign(wString(u""));
    EXPECT_EQ(text.view(), u"Vol1");
    text.assign(text);
    text.assign(wString("C\xC3\xA4RD"));
    EXPECT_EQ(text.view(), u"C\u00E4RD");
    EXPECT_STREQ(text.narrow(), "C\xC3\xA4RD");
    EXPECT_EQ(text.capacity, 256u);
    EXPECT_EQ(text.charAt(4), 0);
    EXPECT_EQ(text.charAt(256), 0);
    EXPECT_STREQ(wString().narrow(), "");
}

TEST(wString, GrowsWhenItIsAppendedTo) {
    wString text;
    text.append(u"");
    EXPECT_EQ(text.capacity, 0u);
    text.append(u"ab");
    text.append(text);
    EXPECT_EQ(text.view(), u"abab");
    const wString filling(std::u16string(252, u'x'));
    text.append(filling);
    EXPECT_EQ(text.length, 256u);
    EXPECT_EQ(text.capacity, 512u);
    EXPECT_EQ(std::u16string(text.c_str()), u"abab" + std::u16string(252, u'x'));
    EXPECT_EQ(wString(std::u16string(256, u'x')).capacity, 512u);
    EXPECT_EQ(wString(std::u16string(255, u'x')).capacity, 256u);
}

}  // namespace
}  // namespace zlk::test
