// The client's commands that have to do with cameras only.

#include <gmock/gmock.h>

#include "tests/support/VirtualCamera.h"
#include "tests/tools/CardTest.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/DesktopRule.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/UsbCamera.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char tree[] = "Software\\Zephyr-Lanthorn\\PictureSuite\\";

struct Adopt : testing::Test {
    void SetUp() override { ASSERT_GE(registerModules(), 1); }
    static std::string value(const std::string& productClass, const std::string& name) {
        return json({"settings", "get", tree + productClass + "\\CamInfo", name})["content"].text;
    }
    static void set(const std::string& key, const std::string& name, const std::string& value) {
        expectZlkcam(0, {"settings", "set", tree + key, name, value});
    }
    static std::string known(const std::string& vidPid) {
        return json({"translate", "vidpid", vidPid})["answer"].text;
    }
};

TEST_F(Adopt, ShowsTheRowAndWritesItWhenItIsConfirmed) {
    VirtualCamera camera({"--model", "unknown", "--product", "Odd <\"one\">"});
    const JsonAnswer asked = expectJson(17, {"adopt"});
    EXPECT_EQ(asked["written"].text, "false");
    EXPECT_EQ(asked["contextId"].text, "#Zephyr-Lanthorn#CamOdd_one#0000");
    EXPECT_EQ(asked["values"]["Cam_pnpID"].text, "VID_5AF1&PID_7FFF");
    EXPECT_EQ(zlkcam({"adopt"}).status, 17);  // nobody there to say yes
    EXPECT_EQ(known("VID_5AF1&PID_7FFF"), "");

    const ProgramResult written = expectZlkcam(0, {"adopt", "--yes", "--share"});
    EXPECT_THAT(written.output, HasSubstr("FriendlyName = Odd <\"one\">"));
    EXPECT_EQ(known("VID_5AF1&PID_7FFF"), "#Zephyr-Lanthorn#CamOdd_one#0000");
    EXPECT_EQ(value("CamOdd_one", "SwiftPostSupport"), "TRUE");
    EXPECT_EQ(zlkcam({"adopt", "--yes"}).status, 9);  // it is known now
}

TEST_F(Adopt, PutsNoCameraInThePlaceOfAnotherUnlessItIsTold) {
    VirtualCamera camera({"--model", "unknown", "--product", "476"});
    const std::string built = known("VID_5AF1&PID_7C35");
    set("Dock\\CamInfo", "PassThruProductClass", "DockClass");
    set("Disk", "any", "value");
    set("SwiftPost\\ProductClasses\\Shared", "any", "x");
    set("CtxMgr\\ProductClasses", "Marked", "*Installed*");
    EXPECT_EQ(json({"adopt", "--yes"}).status, 17);
    for (const char* taken :
         {"cam476", "Dock", "dockclass", "DISK", "Cam948_264", "shared", "marked"})
        EXPECT_EQ(zlkcam({"adopt", "--yes", "--class", taken}).status, 17) << taken;
    for (const char* illegal : {"", "a\\b", "a#b", "a b", "Import", "ctxmgr", "RemovableDrive"})
        EXPECT_NE(zlkcam({"adopt", "--yes", "--class", illegal}).status, 0) << illegal;
    EXPECT_EQ(known("VID_5AF1&PID_7C35"), built);
    EXPECT_EQ(known("VID_5AF1&PID_7FFF"), "");

    set("Cam476\\CamInfo", "Model", "left over");
    EXPECT_EQ(zlkcam({"adopt", "--yes", "--replace", "--name", "My one"}).status, 0);
    EXPECT_EQ(known("VID_5AF1&PID_7FFF"), "#Zephyr-Lanthorn#Cam476#0000");
    EXPECT_EQ(known("VID_5AF1&PID_7C35"), "");
    EXPECT_EQ(value("Cam476", "Model"), "");
    EXPECT_EQ(value("Cam476", "FriendlyName"), "My one");
}

TEST_F(Adopt, AsksWhichOneOfSeveral) {
    EXPECT_EQ(zlkcam({"adopt", "--yes"}).status, 9);
    VirtualCamera first({"--model", "unknown", "--product", "Left", "--name", "left"});
    VirtualCamera twin({"--model", "unknown", "--product", "Left", "--name", "twin"});
    VirtualCamera known({"--model", "539", "--name", "known"});
    EXPECT_EQ(json({"adopt"}).status, 17);  // one kind
    VirtualCamera second({"--vid", "0xABCD", "--product", "Right", "--name", "right"});
    const JsonAnswer several = expectJson(1, {"adopt", "--yes"});
    EXPECT_EQ(several["error"]["advice"].text,
              "Not known are:\n  5AF1:7FFF  Left\n  ABCD:0001  Right");
    EXPECT_EQ(zlkcam({"adopt", "abcd:0001", "--yes"}).status, 0);
    EXPECT_EQ(value("CamRight", "Cam_pnpID"), "VID_ABCD&PID_0001");
    EXPECT_EQ(zlkcam({"adopt", "5AF1:7C36", "--yes"}).status, 9);
}

TEST_F(Adopt, WritesARuleAgainstFileManagersWholeOrNotAtAll) {
    const auto folder = newFolder();
    const auto rule = folder / "65-zlkcam-5af1-7fff.rules";
    const auto adopt = [](const fs::path& into, std::vector<std::string> more) {
        more.insert(more.begin(), "adopt");
        more.insert(more.end(), {"--udev", into});
        return json(more);
    };
    EXPECT_EQ(adopt(folder, {"--yes"}).status, 9);
    VirtualCamera camera({"--model", "unknown"});
    EXPECT_EQ(adopt(folder, {}).status, 17);
    EXPECT_TRUE(fs::is_empty(folder));

    // Where the rule can't be written, the row isn't either.
    writeFile(rule, "somebody's own");
    const JsonAnswer refused = adopt(folder, {"--yes"});
    EXPECT_EQ(refused.status, 6);
    EXPECT_THAT(refused["error"]["message"].text, HasSubstr("Nothing is written"));
    EXPECT_THAT(refused["error"]["advice"].text, HasSubstr("another rule"));
    EXPECT_EQ(readFile(rule), "somebody's own");
    const JsonAnswer nowhere = adopt(folder / "missing", {"--yes"});
    EXPECT_EQ(nowhere.status, 6);
    EXPECT_THAT(nowhere["error"]["advice"].text, HasSubstr("sudo cp 65-zlkcam-5af1-7fff.rules"));
    EXPECT_EQ(known("VID_5AF1&PID_7FFF"), "");

    fs::remove(rule);
    // The second time it is a camera that the table knows, and the rule is there.
    for (int time = 0; time < 2; ++time) {
        const JsonAnswer written = adopt(folder, {"--yes"});
        EXPECT_EQ(written.status, 0) << written.error;
        EXPECT_EQ(written["ruleFile"].text, rule);
        EXPECT_EQ(readFile(rule), written["rule"].text);
    }
    EXPECT_NE(known("VID_5AF1&PID_7FFF"), "");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

TEST(DesktopRule, IsReadBetweenTheRulesThatItUndoesAndTheOneThatItStops) {
    const DesktopRule rule(0x46F4, 0x4);
    EXPECT_GT(rule.fileName(), "60-libgphoto2-6.rules");
    EXPECT_LT(rule.fileName(), "69-libmtp.rules");
    EXPECT_THAT(rule.text(), HasSubstr("\nACTION!=\"remove\", SUBSYSTEM==\"usb\", "
                                       "ATTRS{idVendor}==\"46f4\", ATTRS{idProduct}==\"0004\", "));
    for (const char* property :
         {"{ID_GPHOTO2}=\"\"", "{ID_MTP_DEVICE}=\"\"", "{MTP_NO_PROBE}=\"1\""})
        EXPECT_THAT(rule.text(), HasSubstr(property));
}

UsbCamera cameraCalled(std::u16string product) {
    UsbCamera camera{};
    camera.attached.vid = 0x12AB;
    camera.attached.pid = 0x1;
    camera.attached.product = std::move(product);
    camera.attached.accessible = true;
    camera.pnpId = u"VID_12AB&PID_0001";
    return camera;
}

TEST(CameraRow, TakesNothingFromADeviceButWhatIsHarmless) {
    const struct {
        std::u16string product, productClass, name;
    } cases[] = {
        {u"..\\..\\Import#x", u"CamImport_x", u"..\\..\\Import#x"},
        {u"\u001B]0;owned\u0007\u202Egpj.\uF01B", u"Cam0_owned_gpj", u"]0;owned gpj."},
        {u"  \t\n", u"Cam12AB_0001", u"Camera VID_12AB&PID_0001"},
        {u"\u5199\u771F", u"Cam12AB_0001", u"\u5199\u771F"},
        {std::u16string(1, 0xD800) + u"a" + std::u16string(1, 0), u"Cama", u"a"},
        {std::u16string(500, u'x'), u"Cam" + std::u16string(37, u'x'), std::u16string(60, u'x')},
    };
    for (const auto& [product, productClass, name] : cases) {
        const CameraRow row(cameraCalled(product));
        EXPECT_EQ(row.productClass, productClass);
        EXPECT_EQ(row.name, name);
        EXPECT_TRUE(isProductClass(row.productClass));
    }
}

std::vector<std::string> kindsOf(const UsbCamera& camera) {
    std::vector<std::string> kinds;
    for (const CameraTrouble& trouble : troublesOf(camera)) kinds.push_back(trouble.kind);
    return kinds;
}

TEST(UsbCamera, SaysWhyItIsNotListedOrWillNotOpen) {
    UsbCamera camera = cameraCalled(u"Camera");
    EXPECT_THAT(kindsOf(camera), ElementsAre("unknown"));
    camera.attached.holderProcess = 812;
    camera.attached.holderProgram = u"viewer";
    camera.attached.accessible = false;
    EXPECT_THAT(kindsOf(camera), ElementsAre("unknown", "held", "forbidden"));
    EXPECT_THAT(troublesOf(camera)[1].message, HasSubstr("viewer (process 812)"));
    EXPECT_THAT(troublesOf(camera)[1].advice, HasSubstr("kill 812"));
    camera.attached.holderProgram = u"gvfsd-gphoto2";
    EXPECT_THAT(troublesOf(camera)[1].advice, HasSubstr("gio mount -s gphoto2)"));
    EXPECT_THAT(troublesOf(camera)[1].advice, HasSubstr("zlkcam adopt 12AB:0001 --udev"));
    camera.attached.holderProgram = u"gvfsd-mtp";
    EXPECT_THAT(troublesOf(camera)[1].advice, HasSubstr("gio mount -s mtp)"));
    EXPECT_THAT(troublesOf(camera)[2].advice, HasSubstr("70-zlkcamtr.rules"));

    camera.listed = true;
    EXPECT_THAT(kindsOf(camera), ElementsAre("held", "forbidden"));
    camera = cameraCalled(u"Camera");
    camera.contextId = u"#Zephyr-Lanthorn#Cam283#0000";
    EXPECT_THAT(kindsOf(camera), ElementsAre("silent"));
    camera.twinListed = true;
    EXPECT_THAT(kindsOf(camera), ElementsAre("twin"));
    camera.listed = true;
    EXPECT_THAT(kindsOf(camera), IsEmpty());
}

/// A card of a model that keeps diagnostics.
class CameraCard : public CardTest {
  protected:
    void SetUp() override {
        CardTest::SetUp();
        expectZlkcam(0, {"mount", folder, "--letter", "G", "--label", "CAM", "--vendor", "ZL",
                         "--product", "GLIMMERBOX 283"});
        fs::create_directory(folder / "MISC");
    }
    void write(const std::string& document) const {
        writeFile(folder / "MISC/DIAGNOSTICS.XML", document);
    }
    const fs::path folder = newFolder();
};

TEST_F(CameraCard, IsListedAsThatCamera) {
    const Json devices = json({"devices"})["devices"];
    EXPECT_THAT(devices.each("contextId"),
                ElementsAre("#Zephyr-Lanthorn#Cam283#0000", "#Zephyr-Lanthorn#RemovableDrive#E"));
    EXPECT_THAT(devices.each("name"), ElementsAre("CAM", "WEDDING (E:)"));
    EXPECT_THAT(devices.each("lowLevelId"), ElementsAre("G:\\", "E:\\"));
    EXPECT_EQ(json({"translate", "drive", "G"})["answer"].text, "#Zephyr-Lanthorn#Cam283#0000");
    EXPECT_EQ(zlkcam({"mount", card / "missing"}).status, 6);
    EXPECT_EQ(zlkcam({"mount", card, "--vendor", "ZL"}).status, 1);
    for (const char* letter : {"G", "A"})
        EXPECT_EQ(zlkcam({"mount", card, "--letter", letter}).status, 1);
}

TEST_F(CameraCard, TellsItsDiagnostics) {
    EXPECT_EQ(zlkcam({"diag", "G"}).status, 4);
    write(
        "<?xml version=\"1.0\"?><diagnostic><model>283</model><other>a&lt;b</other>"
        "<shotCounter/><failure Code=\"7\" File=\"a.c\"/><failure/></diagnostic>");
    EXPECT_EQ(zlkcam({"diag", "G"}).output,
              "Model: 283\nother: a<b\nShots: \nFailure: Code=7 File=a.c\nFailure:\n");
    const JsonAnswer partial = expectJson(15, {"diag", "G", "--log"});
    EXPECT_EQ(partial["logged"].text, "false");
    EXPECT_THAT(partial["values"].each("name"), ElementsAre("model", "other", "shotCounter"));
    EXPECT_EQ(partial["failures"].items.at(0).each("text"), (std::vector<std::string>{"7", "a.c"}));

    const Words version{"settings", "get", "Software\\Zephyr-Lanthorn\\ZLSU_Cam283_Firmware",
                        "version"};
    write("<diagnostic><model>283</model><serial>1</serial><fwversion>2</fwversion></diagnostic>");
    EXPECT_EQ(zlkcam(version).status, 14);
    EXPECT_EQ(json({"diag", "G", "--log"})["logged"].text, "true");
    EXPECT_EQ(zlkcam(version).output, "2\n");
    write(
        "<diagnostic><model>\nSerial number: 2</model><serial>1</serial>"
        "<fwversion>2</fwversion></diagnostic>behind it");
    EXPECT_EQ(zlkcam({"diag", "G"}).output,
              "Model: Serial number: 2\nSerial number: 1\nFirmware: 2\n");
    EXPECT_EQ(json({"diag", "G", "--log"})["logged"].text, "false");
    for (const char* bad : {"<diagnostic>", "<other/>", "nonsense"}) {
        write(bad);
        EXPECT_EQ(zlkcam({"diag", "G"}).status, 15) << bad;
    }
}

TEST_F(CameraCard, HasNoClockAndTheCommandLineIsLookedAtFirst) {
    EXPECT_EQ(zlkcam({"clock", "G"}).status, 8);
    EXPECT_EQ(zlkcam({"clock", "G", "--set", "now"}).status, 8);
    for (const char* time : {"2026-07-15T10:30:00", "1971-01-01T00:00:00"})
        EXPECT_EQ(zlkcam({"clock", "G", "--set", time}).status, 8) << time;
    for (const char* none : {"yesterday", "2026-02-29T00:00:00", "2026-07-15T24:00:00",
                             "2026-07-15T10:30:00Z", "2026-07-15", "0000-00-00T00:00:00"})
        EXPECT_EQ(zlkcam({"clock", "G", "--set", none}).status, 1) << none;
}

TEST(TimeDocument, ReadsBackAsTheTimeThatWasWritten) {
    for (const std::int64_t time : {1784100600LL, 86400LL * 365})
        EXPECT_EQ(parseTime(timeDocument(time)), time);
    EXPECT_THROW(parseTime(u"<time>00/00/0000 -1:-1:-1</time>"), Failure);
    EXPECT_THROW(parseTime(u"<other/>"), Failure);
}

/// A camera on USB whose card is a folder, and the client's only device.
class OnUsb : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_GE(registerModules(), 1);
        fs::create_directory(card / "MISC");
    }
    VirtualCamera play(std::vector<std::string> options) const {
        options.insert(options.end(), {"--storage", card});
        return VirtualCamera(std::move(options));
    }
    fs::path put(const std::string& name) const {
        writeFile(card / "MISC" / name, "<" + name + "/>");
        return card / "MISC" / name;
    }
    const fs::path card = newFolder();
};

TEST_F(OnUsb, AKnownCameraIsListedAndNotToldTwice) {
    VirtualCamera camera = play({"--model", "283"});
    const ProgramResult plain = zlkcam({"devices"});
    EXPECT_THAT(plain.output, HasSubstr("#Zephyr-Lanthorn#Cam283#0000"));
    EXPECT_THAT(plain.output, testing::Not(HasSubstr("On USB")));
    VirtualCamera twin = play({"--model", "283", "--name", "twin"});
    const Json cameras = json({"devices"})["cameras"];
    EXPECT_THAT(cameras.each("listed"), ElementsAre("true", "false"));
    EXPECT_THAT(cameras.items.at(1)["troubles"].each("kind"), ElementsAre("twin"));
}

TEST_F(OnUsb, AnAdoptedCameraIsListedAndTellsItsClock) {
    VirtualCamera camera = play({"--model", "476", "--pid", "0xC101", "--product", "Odd <one>"});
    EXPECT_EQ(zlkcam({"clock"}).status, 9);
    const Json cameras = json({"devices"})["cameras"];
    EXPECT_THAT(cameras.each("port"), ElementsAre("\\\\.\\Usbscan1000"));
    EXPECT_THAT(cameras.each("id"), ElementsAre("VID_5AF1&PID_C101"));
    EXPECT_THAT(cameras.items.at(0)["troubles"].each("kind"), ElementsAre("unknown"));
    EXPECT_THAT(zlkcam({"devices"}).output,
                testing::AllOf(HasSubstr("On USB: Odd <one>"), HasSubstr("zlkcam adopt")));
    ASSERT_EQ(zlkcam({"adopt", "--yes", "--share", "--name", "Mine"}).status, 0);
    EXPECT_THAT(json({"devices"})["devices"].each("name"), ElementsAre("Mine"));

    EXPECT_LE(std::abs(std::stol(json({"clock"})["ahead"].text)), 2);
    ASSERT_EQ(zlkcam({"clock", "--set", "2020-01-02T03:04:05"}).status, 0);
    EXPECT_THAT(json({"clock"})["time"].text, testing::StartsWith("2020-01-02T03:04:"));
    for (const char* impossible :
         {"", "2038-01-01T00:00:00", "1970-12-31T00:00:00", "2020-02-30T00:00:00"})
        EXPECT_EQ(zlkcam({"clock", "--set", impossible}).status, 1) << impossible;
    ASSERT_EQ(zlkcam({"clock", "--set", "now"}).status, 0);
    EXPECT_LE(std::abs(std::stol(json({"clock"})["ahead"].text)), 2);
    camera.expectNoViolations();
    camera.tell("unplug");
    EXPECT_THAT(json({"devices"})["cameras"].items, IsEmpty());
}

TEST_F(OnUsb, HasItsOrderFoundAndDeletedOrSaysThatItStays) {
    put("AUTPRINT.MRK");
    put("INTENT.XML");
    {
        VirtualCamera camera = play({"--model", "948"});
        EXPECT_EQ(zlkcam({"order"}).output, "<AUTPRINT.MRK/>\n");
        EXPECT_EQ(zlkcam({"order", "--clear"}).status, 10);
        EXPECT_EQ(zlkcam({"intent", "--clear"}).status, 10);
    }
    VirtualCamera camera = play({"--model", "476"});
    EXPECT_EQ(zlkcam({"order", "--clear"}).status, 0);
    EXPECT_EQ(zlkcam({"intent", "--clear"}).status, 0);
    EXPECT_TRUE(fs::is_empty(card / "MISC"));
}

}  // namespace
}  // namespace zlk::test
