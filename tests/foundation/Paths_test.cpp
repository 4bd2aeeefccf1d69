#include "foundation/Paths.h"

#include <gtest/gtest.h>

#include "platform/types.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

TEST(Paths, JoinsWithOneBackslash) {
    struct Case {
        const WCHAR *a, *b, *joined;
    };
    for (const Case& c :
         {Case{u"E:\\DCIM\\", u"\\A.JPG", u"E:\\DCIM\\A.JPG"},
          Case{u"E:\\DCIM", u"A.JPG", u"E:\\DCIM\\A.JPG"},
          Case{u" E:\\ ", u"\t\\\\A.JPG\n", u"E:\\A.JPG"}, Case{u"", u"A.JPG", u"A.JPG"},
          Case{u"E:\\", u" \\ ", u"E:"}, Case{u"\\", u"\\", u""}})
        EXPECT_EQ(joinPath(c.a, c.b), c.joined);
}

TEST(Paths, TakesPathsApart) {
    EXPECT_EQ(fileNamePart(u"E:\\DCIM\\100CAM\\A.B.JPG"), u"A.B.JPG");
    EXPECT_EQ(fileNamePart(u"NONE"), u"NONE");
    EXPECT_EQ(fileNamePart(u"E:\\DCIM\\"), u"");
    EXPECT_EQ(dirPart(u"E:\\DCIM\\100CAM\\A.JPG"), u"\\DCIM\\100CAM\\");
    EXPECT_EQ(dirPart(u"\\\\FILER\\CARDS\\A.JPG"), u"\\\\FILER\\CARDS\\");
    EXPECT_EQ(trimmed(u" \t a b\u2003\r\n"), u"a b");
    EXPECT_EQ(trimmed(u" \n"), u"");
}

TEST(Paths, KnowsFoldersWhateverTheirEnd) {
    const fs::path folder = newFolder();
    writeFile(folder / "file", "");
    const std::u16string text = pathText(folder);
    for (const WCHAR* end : {u"", u"\\", u"/", u"\\\\ ", u" \t"})
        EXPECT_TRUE(directoryExists(text + end));
    EXPECT_TRUE(directoryExists(u"Z:\\"));
    EXPECT_TRUE(directoryExists(u"/"));
    for (const std::u16string& none : {text + u"\\file", text + u"\\none", u""s, u" "s, u"Y:\\"s})
        EXPECT_FALSE(directoryExists(none)) << testing::PrintToString(none);
}

TEST(Paths, MakesFoldersWithAllThatIsMissingAbove) {
    const fs::path folder = newFolder();
    const fs::path before = fs::current_path();
    writeFile(folder / "file", "x");
    const std::u16string text = pathText(folder);
    for (const WCHAR* below : {u"\\a\\b\\c\\ ", u"\\a\\b\\c", u"/d/e"})
        EXPECT_TRUE(makeDirectoryTree(text + below));
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c") && fs::is_directory(folder / "d/e"));
    for (const std::u16string& bad :
         {text + u"\\file\\below", text + u"\\file", u""s, u"Y:\\a\\b"s, u"\\\\nobody\\share\\a"s})
        EXPECT_FALSE(makeDirectoryTree(bad)) << testing::PrintToString(bad);
    EXPECT_EQ(readFile(folder / "file"), "x");
    EXPECT_EQ(fs::current_path(), before);
}

TEST(Paths, HasOneFolderForTemporaryFiles) {
    const std::u16string folder = GetTempDir();
    EXPECT_TRUE(folder.ends_with(u"\\tmp\\ZL GlimmerBox\\Temporary File Cache"));
    EXPECT_TRUE(directoryExists(folder));
    EXPECT_EQ(GetTempDir(), folder);
}

}  // namespace
}  // namespace zlk::test
