#include <gtest/gtest.h>

#include <map>

#include "tests/siblings/JpegSamples.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

/// The bytes and the time of each file.
std::map<std::string, std::pair<std::string, fs::file_time_type>> filesBelow(
    const fs::path& folder) {
    std::map<std::string, std::pair<std::string, fs::file_time_type>> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[fs::relative(entry, folder)] = {readFile(entry), entry.last_write_time()};
    return files;
}

ProgramResult makeCard(const fs::path& folder, const char* pictures = "9", const char* seed = "1") {
    return runProgram({(programFolder() / "zlk-samplecard").string(), folder.string(), "--pictures",
                       pictures, "--seed", seed});
}

TEST(SampleCard, HasWhatACameraLeavesAndIsTheSameForASeed) {
    const fs::path folder = newFolder(), again = newFolder(), other = newFolder();
    ASSERT_EQ(makeCard(folder).status, 0);
    ASSERT_EQ(makeCard(again).status, 0);
    ASSERT_EQ(makeCard(other, "1", "2").status, 0);
    auto files = filesBelow(folder);
    EXPECT_EQ(files.size(), 9U + 4U);
    for (const char* name :
         {"DCIM/100CAM/PICT0001.JPG", "DCIM/101CAM/PICT0009.JPG", "MISC/AUTPRINT.MRK",
          "MISC/INTENT.XML", "MISC/SHAREOLD.XML", "MISC/DEVICEID.XML"})
        EXPECT_FALSE(files[name].first.empty()) << name;
    const std::string& picture = files["DCIM/100CAM/PICT0001.JPG"].first;
    EXPECT_EQ(quartersOf(picture).width, 2048);
    EXPECT_NE(picture.find("Glimmerbox 539"), std::string::npos);
    EXPECT_NE(picture.find("2006:07:15 10:00:00"), std::string::npos);

    EXPECT_TRUE(filesBelow(again) == files);
    EXPECT_FALSE(filesBelow(other)["DCIM/100CAM/PICT0001.JPG"].first == picture);
}

TEST(SampleCard, LeavesAFolderAloneThatMayBeACard) {
    const fs::path folder = newFolder();
    fs::create_directory(folder / "DCIM");
    const ProgramResult result = makeCard(folder);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("DCIM"), std::string::npos);
    EXPECT_TRUE(filesBelow(folder).empty());
}

}  // namespace
}  // namespace zlk::test
