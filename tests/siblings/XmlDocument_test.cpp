#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "interfaces/IXmlDoc.h"
#include "platform/text.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;

class XmlDocumentTest : public testing::Test {
  protected:
    struct Document {
        Document() { EXPECT_EQ(object.create(CLSID_XmlDoc), S_OK); }
        HRESULT load(std::u16string_view text) { return object->Load(Bstr(text).get()); }
        HRESULT add(std::u16string_view path, std::u16string_view xml) {
            return object->AddFragment(Bstr(path).get(), Bstr(xml).get());
        }
        HRESULT set(std::u16string_view path, std::u16string_view value) {
            return object->SetValue(Bstr(path).get(), Bstr(value).get());
        }
        std::optional<std::u16string> value(std::u16string_view path) {
            Bstr text;
            if (object->GetValue(Bstr(path).get(), text.out()) != S_OK) return std::nullopt;
            return std::u16string(text.view());
        }
        std::optional<std::u16string> attribute(std::u16string_view path,
                                                std::u16string_view name) {
            Bstr text;
            if (object->GetAttribute(Bstr(path).get(), Bstr(name).get(), text.out()) != S_OK)
                return std::nullopt;
            return std::u16string(text.view());
        }
        std::string xml() {
            Bstr text;
            EXPECT_EQ(object->GetXml(text.out()), S_OK);
            return utf8Text(text.view());
        }
        ComPtr<IXmlDoc> object;
    };

    static void SetUpTestSuite() { registerModules(); }
    Document document;
};

std::u16string nested(std::size_t depth) {
    std::u16string text;
    for (std::size_t i = 0; i < depth; ++i) text += u"<a>";
    for (std::size_t i = 0; i < depth; ++i) text += u"</a>";
    return text;
}

TEST_F(XmlDocumentTest, BuildsAListRecordByRecord) {
    Document& list = document;
    EXPECT_EQ(list.xml(), "");
    ASSERT_EQ(list.add(u"/", u"<fileInfo />"), S_OK);
    EXPECT_EQ(list.xml(), "<fileInfo/>");
    for (const char16_t* id : {u"E:\\A & B.JPG", u"E:\\<\"2\">.JPG"}) {
        Document record;
        ASSERT_EQ(record.add(u"/", u"<file />"), S_OK);
        ASSERT_EQ(record.add(u"file", u"<id />"), S_OK);
        ASSERT_EQ(record.set(u"file/id", id), S_OK);
        ASSERT_EQ(record.add(u"file", u"<albums />"), S_OK);
        ASSERT_EQ(record.add(u"file", u"<pcpath />"), S_OK);
        ASSERT_EQ(record.set(u"file/pcpath", u""), S_OK);
        ASSERT_EQ(list.add(u"fileInfo", wideText(record.xml())), S_OK);
    }
    EXPECT_EQ(list.xml(),
              "<fileInfo><file><id>E:\\A &amp; B.JPG</id><albums/><pcpath/></file>"
              "<file><id>E:\\&lt;\"2\"&gt;.JPG</id><albums/><pcpath/></file></fileInfo>");
    EXPECT_EQ(list.value(u"fileInfo/file[1]/id"), u"E:\\<\"2\">.JPG");
    EXPECT_EQ(list.value(u"fileInfo/file/albums"), u"");
    EXPECT_EQ(list.value(u"fileInfo/file[2]/id"), std::nullopt);
}

TEST_F(XmlDocumentTest, IsTheSameWhetherItsListIsLookedIntoOrNot) {
    const char16_t* const fragments[] = {
        u"<f n='1 &quot;&#9;'>a &lt;<![CDATA[ & ]]>b<g>\xE9</g>tail</f>", u"<f/>",
        u"<f>\xD83D\xDCF7 ?&gt; &#13;</f>", u"<other> </other>", u"<f n='last'><g/></f>"};
    ASSERT_EQ(document.add(u"/", u"<d>text</d>"), S_OK);
    for (int round = 0; round < 3; ++round) {
        for (const char16_t* fragment : fragments) ASSERT_EQ(document.add(u"d", fragment), S_OK);
        const int first = 4 * round;
        const std::string before = document.xml();
        EXPECT_EQ(document.value(formatText(u"d/f[%d]/g", first)), u"\xE9");
        EXPECT_EQ(document.value(formatText(u"d/f[%d]", first)), u"a < & btail");
        EXPECT_EQ(document.attribute(formatText(u"d/f[%d]", first), u"n"), u"1 \"\t");
        EXPECT_EQ(document.value(formatText(u"d/f[%d]", first + 2)), u"\xD83D\xDCF7 ?> \r");
        EXPECT_EQ(document.value(formatText(u"d/other[%d]", round)), u" ");
        EXPECT_EQ(document.value(u"d"), u"text");
        EXPECT_EQ(document.xml(), before);
        ASSERT_EQ(document.set(formatText(u"d/f[%d]", first + 1), u"new"), S_OK);
        EXPECT_EQ(document.value(formatText(u"d/f[%d]", first + 1)), u"new");
    }
    EXPECT_EQ(document.value(u"d/f[12]"), std::nullopt);
    Document again;
    ASSERT_EQ(again.load(wideText(document.xml())), S_OK);
    EXPECT_EQ(again.xml(), document.xml());
}

TEST_F(XmlDocumentTest, GivesBackEveryTextThatItTook) {
    for (const std::u16string& text :
         {u""s, u"&amp; &#65; <b> ]]> \"'"s, u"\r"s, u"a\r\nb\rc\nd"s, u"  kept  "s, u" "s,
          u"\t\n"s, u"\U0001F4F7 \u00E9\u4E2D\uF01F\uFFFD\uFEFF"s,
          std::u16string(300'000, u'\u00E9')}) {
        SCOPED_TRACE(utf8Text(text.substr(0, 40)));
        Document first, second;
        ASSERT_EQ(first.add(u"/", u"<a />"), S_OK);
        ASSERT_EQ(first.set(u"a", text), S_OK);
        EXPECT_EQ(first.value(u"a"), text);
        ASSERT_EQ(second.load(wideText(first.xml())), S_OK);
        EXPECT_EQ(second.value(u"a"), text);
        EXPECT_EQ(second.xml(), first.xml());
    }
}

TEST_F(XmlDocumentTest, RefusesCharactersThatNoDocumentHolds) {
    ASSERT_EQ(document.load(u"<a>old</a>"), S_OK);
    for (const std::u16string& text :
         {u"a\0b"s, u"\u0001"s, u"\u001B[2J"s, u"\uFFFE"s, u"\uFFFF"s, u"a\xD83D"s, u"\xDCF7 b"s,
          u"\xDCF7\xD83D"s, u"\xD83D\xD83D"s}) {
        EXPECT_EQ(document.set(u"a", text), E_INVALIDARG);
        EXPECT_NE(document.load(u"<a>" + text + u"</a>"), S_OK);
        EXPECT_NE(document.add(u"a", u"<b>" + text + u"</b>"), S_OK);
    }
    EXPECT_EQ(document.xml(), "<a>old</a>");
}

TEST_F(XmlDocumentTest, KeepsTheOldDocumentWhenTheNewOneIsNotWellFormed) {
    ASSERT_EQ(document.load(u"<old/>"), S_OK);
    const auto refuses = [this](std::initializer_list<const char16_t*> texts) {
        for (const char16_t* text : texts) EXPECT_NE(document.load(text), S_OK) << utf8Text(text);
    };
    refuses({u"", u" ", u"text", u"<a>", u"<a/", u"<a", u"<", u"</a>", u"<a></b>", u"<a></a "});
    refuses({u"<a><b></a></b>", u"<a/><b/>", u"<a/>text", u"text<a/>", u"<a><b/>"});
    refuses({u"< a/>", u"<1/>", u"<a/>]]>", u"<a>]]></a>", u"<![CDATA[x]]>", u"<a><![CDATA[</a>"});
    refuses({u"<a b/>", u"<a b=/>", u"<a b=c/>", u"<a b='c/>", u"<a b='<'/>", u"<a b='&#0;'/>"});
    refuses({u"<a b='1' b='2'/>", u"<a b='1'c='2'/>"});
    refuses({u"<a>&</a>", u"<a>&amp</a>", u"<a>&unknown;</a>", u"<a>&#;</a>", u"<a>&#-65;</a>"});
    refuses({u"<a>&#0;</a>", u"<a>&#x1F;</a>", u"<a>&#xD800;</a>", u"<a>&#x110000;</a>"});
    refuses({u"<a>&#99999999999999;</a>", u"<a><!-- -- --></a>", u"<a><!--</a>"});
    refuses({u"<a><?xml version='1.0'?></a>", u" <?xml version='1.0'?><a/>"});
    refuses({u"<a><!DOCTYPE a></a>", u"<a/><!DOCTYPE a>", u"<!DOCTYPE a", u"<!DOCTYPE a 'b"});
    refuses({u"<!DOCTYPE a [<!ENTITY b 'c'>]><a/>"});
    EXPECT_NE(document.object->Load(nullptr), S_OK);
    EXPECT_EQ(document.xml(), "<old/>");
}

TEST_F(XmlDocumentTest, ReadsWhatCamerasAndOtherProgramsWrite) {
    const struct {
        const char16_t* text;
        const char* xml;
    } cases[] = {
        {u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<a/>\r\n", "<a/>"},
        {u"<!-- a --><?b c?><!DOCTYPE a SYSTEM \"a>.dtd\" ><a/><!-- d --><?e?>", "<a/>"},
        {u"<a>\n  <b> 1 </b>\n  <c> </c>\n</a>", "<a><b> 1 </b><c> </c></a>"},
        {u"<a>x<![CDATA[<&]]>y<!-- z -->w</a >", "<a>x&lt;&amp;yw</a>"},
        {u"<a b = '1\"' c=\"&#x41;&lt;\"></a>", "<a b=\"1&quot;\" c=\"A&lt;\"/>"},
        {u"<a b='1\n2&#10;3'/>", "<a b=\"1 2&#10;3\"/>"},
        {u"<a>1\r\n2&#13;\n&quot;&apos;&#128247;</a>", "<a>1\n2&#13;\n\"'\U0001F4F7</a>"},
        {u"<z:\u00E9-1._><\u4E2D/></z:\u00E9-1._>", "<z:\u00E9-1._><\u4E2D/></z:\u00E9-1._>"},
    };
    for (const auto& [text, xml] : cases) {
        EXPECT_EQ(document.load(text), S_OK) << utf8Text(text);
        EXPECT_EQ(document.xml(), xml);
    }
}

TEST_F(XmlDocumentTest, BoundsDepthAndNodes) {
    EXPECT_EQ(document.load(nested(256)), S_OK);
    EXPECT_EQ(document.xml().size(), 255 * 7 + 4);
    EXPECT_NE(document.load(nested(257)), S_OK);
    EXPECT_NE(document.load(nested(100'000)), S_OK);
    EXPECT_NE(document.load(nested(100'000).substr(0, 300'000)), S_OK);

    // A fragment goes as deep as its place leaves room.
    ASSERT_EQ(document.load(u"<a><a/></a>"), S_OK);
    EXPECT_NE(document.add(u"a/a", nested(255)), S_OK);
    EXPECT_EQ(document.add(u"a/a", nested(254)), S_OK);

    std::u16string many = u"<a>";
    for (int i = 0; i < 4'100'000; ++i) many += u"<b/>";
    EXPECT_NE(document.load(many + u"</a>"), S_OK);
}

TEST_F(XmlDocumentTest, FindsElementsByNumberInAnyOrder) {
    std::u16string text = u"<d><other/>";
    for (int i = 0; i < 50; ++i) text += formatText(u"<f n='%d'><g>%d</g></f><other/>", i, i);
    ASSERT_EQ(document.load(text + u"</d>"), S_OK);
    const auto expect = [this](int i) {
        EXPECT_EQ(document.attribute(formatText(u"d/f[%d]", i), u"n"), formatText(u"%d", i));
        EXPECT_EQ(document.value(formatText(u"d[0]/f[%d]/g", i)), formatText(u"%d", i));
    };
    for (int i = 0; i < 50; ++i) expect(i);
    for (int i = 49; i >= 0; i -= 7) expect(i);
    EXPECT_EQ(document.value(u"d/f[50]"), std::nullopt);
    ASSERT_EQ(document.add(u"d", u"<f n='50'><g>50</g></f>"), S_OK);
    expect(50);
    EXPECT_EQ(document.value(u"d/other[50]"), u"");
}

TEST_F(XmlDocumentTest, ForgetsWhatItFoundInAnOlderDocument) {
    // The third document comes to lie where the first one was, node by node, with other numbers.
    const auto text = [](int others) {
        std::u16string list = u"<d>";
        for (int i = 0; i < 50; ++i)
            list += formatText(i < others ? u"<o n='%02d'/>" : u"<f n='%02d'/>", i);
        return list + u"</d>";
    };
    ASSERT_EQ(document.load(text(0)), S_OK);
    EXPECT_EQ(document.attribute(u"d/f[30]", u"n"), u"30");
    ASSERT_EQ(document.load(text(5)), S_OK);
    ASSERT_EQ(document.load(text(10)), S_OK);
    EXPECT_EQ(document.attribute(u"d/f[31]", u"n"), u"41");
}

TEST_F(XmlDocumentTest, TellsBadPathsFromMissingElements) {
    ASSERT_EQ(document.load(u"<a><b/></a>"), S_OK);
    const auto expect = [this](HRESULT result, std::initializer_list<const char16_t*> paths) {
        for (const char16_t* path : paths) {
            SCOPED_TRACE(utf8Text(path));
            const Bstr where(path), name(u"n");
            Bstr out;
            EXPECT_EQ(document.object->GetValue(where.get(), out.out()), result);
            EXPECT_EQ(document.object->GetAttribute(where.get(), name.get(), out.out()), result);
            EXPECT_EQ(document.set(path, u"x"), result);
            EXPECT_EQ(document.add(path, u"<x/>"), result);
        }
    };
    expect(E_INVALIDARG,
           {u"", u"//", u"/a", u"a/", u"a//b", u"a[", u"a[]", u"a[0", u"a[-1]", u"a[+0]", u"a[ 0]",
            u"a[0]b", u"[0]", u"a[0][0]", u"b/c[", u"a[99999999999999999999999]"});
    expect(E_FAIL, {u"a]", u"a[4294967296]", u"b", u"A", u"a/b/c", u"a[1]/b"});
    EXPECT_EQ(document.set(u"/", u"x"), E_INVALIDARG);
    EXPECT_EQ(document.value(u"/"), std::nullopt);
    EXPECT_EQ(document.attribute(u"a", u"missing"), std::nullopt);
    EXPECT_EQ(document.object->GetValue(Bstr(u"a").get(), nullptr), E_POINTER);
    EXPECT_EQ(document.xml(), "<a><b/></a>");
}

TEST_F(XmlDocumentTest, AddsOneElementOrNothing) {
    EXPECT_NE(document.add(u"a", u"<b/>"), S_OK);  // an empty document has no element to add to
    ASSERT_EQ(document.add(u"/", u" <a>1</a> "), S_OK);
    EXPECT_NE(document.add(u"/", u"<a/>"), S_OK);
    for (const char16_t* fragment : {u"<b/><c/>", u"x<b/>", u"<b/>x", u"", u"<b><c></b>"})
        EXPECT_NE(document.add(u"a", fragment), S_OK) << utf8Text(fragment);
    EXPECT_EQ(document.add(u"a", u"<b/>"), S_OK);
    EXPECT_EQ(document.add(u"a", u"<?xml version='1.0'?><c>2</c>"), S_OK);
    EXPECT_EQ(document.add(u"a/b", u"<d/>"), S_OK);
    EXPECT_EQ(document.xml(), "<a>1<b><d/></b><c>2</c></a>");
}

TEST_F(XmlDocumentTest, SetsTheWholeTextOfAnElement) {
    ASSERT_EQ(document.load(u"<a>1<b/>2<![CDATA[3]]></a>"), S_OK);
    EXPECT_EQ(document.value(u"a"), u"123");
    ASSERT_EQ(document.set(u"a", u"new"), S_OK);
    EXPECT_EQ(document.xml(), "<a>new<b/></a>");
    ASSERT_EQ(document.load(u"<a>1<b/>2<![CDATA[3]]></a>"), S_OK);
    ASSERT_EQ(document.set(u"a", u""), S_OK);
    EXPECT_EQ(document.xml(), "<a><b/></a>");
    ASSERT_EQ(document.load(u"<a><b/>1<c>2</c>3</a>"), S_OK);
    ASSERT_EQ(document.set(u"a", u"new"), S_OK);
    ASSERT_EQ(document.set(u"a/c", u""), S_OK);
    EXPECT_EQ(document.xml(), "<a><b/>new<c/></a>");
    ASSERT_EQ(document.set(u"a/c", u"again"), S_OK);
    EXPECT_EQ(document.value(u"a/c"), u"again");
}

}  // namespace
}  // namespace zlk::test
