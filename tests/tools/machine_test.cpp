#include <gmock/gmock.h>

#include "tests/support/TestMachine.h"
#include "tests/support/VirtualCamera.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Register, makesTheComponentsUsableAndUnregisterTakesThemAway) {
    const JsonAnswer before = json({"devices"});
    EXPECT_EQ(before.status, 13);
    EXPECT_THAT(before["error"]["advice"].text, HasSubstr("zlkcam register"));
    EXPECT_EQ(zlkcam({"register"}).status, 0);
    EXPECT_EQ(zlkcam({"devices"}).status, 0);

    const fs::path classes = newFolder() / "classes.db";
    EXPECT_EQ(zlkcam({"register", "--installed", classes}).status, 0);
    EXPECT_TRUE(fs::exists(classes));
    EXPECT_EQ(zlkcam({"register", "--installed", "/missing/classes.db"}).status, 6);

    EXPECT_EQ(zlkcam({"unregister"}).status, 0);
    EXPECT_EQ(zlkcam({"devices"}).status, 13);

    const fs::path bad = newFolder() / "bad.so", platform = "../libzlkplatform.so";
    writeFile(bad, "no module");
    for (const fs::path& path : {fs::path("/missing.so"), bad, moduleFolder() / platform})
        EXPECT_EQ(zlkcam({"register", path}).status, 13) << path;
}

TEST(Settings, areSetReadListedAndDeleted) {
    const std::string key = "HKLM\\Software\\Test", sub = key + "\\Sub";
    ASSERT_EQ(zlkcam({"settings", "set", key, "text", "é \"q\" \\"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", key, "@", "default"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", key, "h", "00,ff", "--type", "hex"}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "set", sub, "n", "4294967295", "--type", "dword"}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "set", key, "h", "4294967296", "--type", "dword"}).status, 1);
    EXPECT_EQ(zlkcam({"settings", "set", key, "h", "xx", "--type", "hex"}).status, 1);

    EXPECT_EQ(zlkcam({"settings", "get", "software\\TEST", "TEXT"}).output, "é \"q\" \\\n");
    EXPECT_EQ(zlkcam({"settings", "get", sub, "n"}).output, "4294967295\n");
    const JsonAnswer list = json({"settings", "list", key});
    ASSERT_EQ(list["keys"].items.size(), 1u);
    EXPECT_EQ(list["keys"].items[0].text, "Sub");
    EXPECT_THAT(list["values"].each("name"), ElementsAre("text", "", "h"));
    EXPECT_THAT(list["values"].each("type"), ElementsAre("sz", "sz", "hex"));
    EXPECT_THAT(list["values"].each("content"), ElementsAre("é \"q\" \\", "default", "00,ff"));
    EXPECT_EQ(zlkcam({"settings", "delete", key, "text"}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "get", key, "text"}).status, 14);
    EXPECT_EQ(zlkcam({"settings", "delete", key}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "list", key}).status, 14);
    EXPECT_EQ(zlkcam({"settings", "delete", "HKLM"}).status, 1);
}

TEST(Settings, comeBackTheSameFromTheirTextForm) {
    const std::string key = "HKLM\\Software\\Test";
    const fs::path first = newFolder() / "first.reg", second = newFolder() / "second.reg";
    zlkcam({"settings", "set", key, "a\"b\\", "text"});
    zlkcam({"settings", "set", key + "\\Sub\\Deep", "h", "01,02", "--type", "hex"});
    zlkcam({"settings", "set", key + "\\Sub2", "n", "7", "--type", "dword"});
    ASSERT_EQ(zlkcam({"settings", "export", first, key}).status, 0);
    EXPECT_EQ(zlkcam({"settings", "export", first, key}).status, 6);  // it is there

    EXPECT_EQ(zlkcam({"settings", "delete", key}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "import", first}).status, 0);
    ASSERT_EQ(zlkcam({"settings", "export", second, key}).status, 0);
    EXPECT_EQ(readFile(first), readFile(second));
    EXPECT_EQ(zlkcam({"settings", "export", "-", key}).output, readFile(first));
    EXPECT_EQ(json({"settings", "export", "-", key})["text"].text, readFile(first));
}

TEST(Settings, aBadFileChangesNothing) {
    const std::string header = "Windows Registry Editor Version 5.00\n";
    const fs::path file = newFolder() / "bad.reg";
    const struct {
        std::string text;
        int status;
    } files[] = {
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n\"a\"=\"b\"\n\"c\"=nonsense\n", 15},
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n[HKEY_CURRENT_USER\\Bad]\n", 1},
        {header + "[HKEY_LOCAL_MACHINE\\Bad]\n[-HKEY_LOCAL_MACHINE]\n", 1},
        {std::string(1 << 20, '\0'), 15},
    };
    for (const auto& bad : files) {
        writeFile(file, bad.text);
        EXPECT_EQ(zlkcam({"settings", "import", file}).status, bad.status) << bad.text;
        EXPECT_EQ(zlkcam({"settings", "list", "Bad"}).status, 14);
    }
    // What the store refuses is told with its line.
    writeFile(file, header + "[HKEY_LOCAL_MACHINE\\Bad\\" + std::string(300, 'k') + "]\n");
    const JsonAnswer result = json({"settings", "import", file});
    EXPECT_EQ(result.status, 14);
    EXPECT_THAT(result["error"]["message"].text, HasSubstr("line 2"));
    EXPECT_EQ(zlkcam({"settings", "import", "/missing.reg"}).status, 6);
}

TEST(Devices, tellWhichCamerasAreOnUsbThoughNobodyKnowsTheirModel) {
    ASSERT_EQ(zlkcam({"register"}).status, 0);
    VirtualCamera camera({"--model", "476", "--pid", "0xC101", "--product", "Odd <one>"});
    const JsonAnswer answer = json({"devices"});
    EXPECT_THAT(answer["cameras"].each("port"), ElementsAre("\\\\.\\Usbscan1000"));
    EXPECT_THAT(answer["cameras"].each("id"), ElementsAre("VID_5AF1&PID_C101"));
    EXPECT_THAT(answer["cameras"].items[0]["troubles"].each("kind"), ElementsAre("unknown"));
    EXPECT_THAT(zlkcam({"devices"}).output,
                testing::AllOf(HasSubstr("On USB: Odd <one>"), HasSubstr("zlkcam adopt")));
    camera.tell("unplug");
    EXPECT_THAT(json({"devices"})["cameras"].items, testing::IsEmpty());
}

}  // namespace
}  // namespace zlk::test
