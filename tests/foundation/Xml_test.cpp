#include "foundation/Xml.h"

#include <gtest/gtest.h>

#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

TEST(Xml, IsHarmlessWithoutAComponentAndWorksWithOne) {
    XmlDocument none;
    std::u16string text = u"before";
    EXPECT_FALSE(none.load(u"<a />") || none.addElement(u"/", u"a", u"b"));
    EXPECT_FALSE(none.value(u"a", text));
    EXPECT_EQ(text + none.xml(), u"");
    ASSERT_GT(registerModules(), 0);

    const std::u16string hostile = u"<b>&\"' ]]> \U0001F4F7";
    XmlDocument document;
    EXPECT_TRUE(document.addFragment(u"/", u"<root kind='x&amp;y' />"));
    EXPECT_TRUE(document.addElement(u"root", u"name", hostile));
    EXPECT_FALSE(document.addElement(u"nowhere", u"a", u"b"));
    EXPECT_FALSE(document.addElement(u"root", u"<", u"b"));
    XmlDocument copy;
    EXPECT_TRUE(copy.load(document.xml()));
    EXPECT_FALSE(copy.load(u"<a><b></a>"));
    EXPECT_TRUE(copy.value(u"root/name", text));
    EXPECT_EQ(text, hostile);
    EXPECT_FALSE(copy.value(u"root/name[1]", text));
    EXPECT_TRUE(copy.attribute(u"root", u"kind", text));
    EXPECT_EQ(text, u"x&y");
    EXPECT_FALSE(copy.attribute(u"root", u"other", text));
}

}  // namespace
}  // namespace zlk::test
