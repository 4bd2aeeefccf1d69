#include "tools/zlkcam/unload/Pairs.h"

#include <gmock/gmock.h>

namespace zlk {
namespace {

using testing::ElementsAre;

std::vector<FileRecord> listOf(const std::vector<std::u16string>& paths) {
    std::vector<FileRecord> files(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) files[i].cameraPath = paths[i];
    return files;
}

TEST(Pairs, AreTheFilesOfOneStemInOneFolder) {
    EXPECT_THAT(pairsOf(listOf({u"\\DCIM\\100\\IMG_1.JPG", u"\\DCIM\\100\\IMG_2.JPG",
                                u"\\DCIM\\101\\IMG_1.JPG", u"\\DCIM\\100\\img_1.cr2",
                                u"\\DCIM\\100.CAM\\IMG_1", u"\\DCIM\\100.XMP",
                                u"\\DCIM\\100\\IMG_2.WAV", u"\\DCIM\\100\\IMG_1.XMP"})),
                ElementsAre(ElementsAre(0, 3, 7), ElementsAre(1, 6), ElementsAre(2), ElementsAre(4),
                            ElementsAre(5)));
    EXPECT_TRUE(pairsOf({}).empty());
}

TEST(Pairs, NeverHaveOneNameTwice) {
    EXPECT_THAT(pairsOf(listOf({u"DCIM\\A.JPG", u"DCIM\\A.JPG", u"DCIM\\A.CR2", u"DCIM\\a.jpg",
                                u"DCIM\\A.CR2"})),
                ElementsAre(ElementsAre(0, 2), ElementsAre(1, 4), ElementsAre(3)));
}

TEST(Pairs, AreFoundAmongManyFilesOfOneName) {
    // Anything quadratic would take minutes here.
    const std::size_t count = 100000;
    std::vector<std::u16string> paths(count, u"DCIM\\IMAGE.JPG");
    paths.resize(2 * count, u"DCIM\\IMAGE.DNG");
    const auto pairs = pairsOf(listOf(paths));
    ASSERT_EQ(pairs.size(), count);
    EXPECT_THAT(pairs.back(), ElementsAre(count - 1, 2 * count - 1));
}

}  // namespace
}  // namespace zlk
