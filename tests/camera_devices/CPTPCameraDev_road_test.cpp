// A PTP device on a virtual camera, over the whole road.

#include "tests/camera_devices/PtpDevice.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

std::string randomText(std::size_t size) {
    const auto bytes = randomBytes(size);
    return {bytes.begin(), bytes.end()};
}
std::u16string idOf(std::uint32_t handle) {
    return formatText(u"%d", handle);
}

/// On either driver family.
class PtpRoad : public testing::TestWithParam<bool> {
  protected:
    static void SetUpTestSuite() { registerModules(); }
    void SetUp() override {
        if (!GetParam()) return;
        setSecondFamily();
        device.port = ZlPTPdrv(0x5AF1u, 0x7D01u).getPortName().view();
    }

    void addDocument(const std::string& name, const std::string& bytes) {
        const auto file = newFolder() / "document";
        writeFile(file, bytes);
        camera.tell("add format=0x3002 name=" + name + " file=" + file.string());
    }
    std::pair<DeviceCode, std::string> copy(PtpDevice& from, std::uint32_t handle) {
        const Target target;
        const DeviceCode code = from.GetFile(idOf(handle), nullptr, target.handle.get());
        return {code, target.bytes()};
    }

    Camera camera{{"--vid", "0x5AF1", "--pid", "0x7D01"}};
    PtpDevice device;
    std::u16string text;
};
INSTANTIATE_TEST_SUITE_P(Families, PtpRoad, testing::Bool());

TEST_P(PtpRoad, LeadsThroughEveryOperation) {
    const std::uint32_t small = camera.add(100'000), large = camera.add(21'000'000);
    addDocument("SHAREOLD.XML", "<menu/>");
    ASSERT_TRUE(device.CheckConnection());
    FileInfoList list;
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::Success);
    EXPECT_EQ(column(list.getXml(), u"id").size(), 3u);
    EXPECT_TRUE(copy(device, small) == std::pair(DeviceCode::Success, randomText(100'000)));
    EXPECT_TRUE(copy(device, large) == std::pair(DeviceCode::Success, randomText(21'000'000)));
    EXPECT_EQ(device.DeleteFile(idOf(small)), DeviceCode::Success);
    EXPECT_EQ(device.DeleteFile(idOf(small)), DeviceCode::DeleteRefused);
    EXPECT_EQ(copy(device, small).first, DeviceCode::ReadFailed);
    EXPECT_EQ(device.PutShareMenu(u"<new/>"), DeviceCode::Success);
    EXPECT_EQ(device.PutDeviceTime(FileTimestamp(1'120'000'000).toXml(u"time")),
              DeviceCode::Success);
    EXPECT_EQ(device.GetDeviceTime(text), DeviceCode::Success);
    FileTimestamp time;
    time.fromXml(text, u"time");
    EXPECT_NEAR(static_cast<double>(time.seconds()), 1'120'000'000, 60);
    EXPECT_TRUE(device.SendSpecialMsg(CameraMessage::UnloadDone));
    const std::string sent = camera.tell("sent");
    EXPECT_NE(sent.find("SHARENEW.XML"), sent.npos);
    EXPECT_NE(sent.find("CAMCODE.XML"), sent.npos);
    camera.expectNoViolations();

    EXPECT_TRUE(device.CheckConnection());
    EXPECT_EQ(copy(device, large).first, DeviceCode::ReadFailed);  // the session is over
    PtpDevice next;
    next.port = device.port;
    EXPECT_TRUE(next.CheckConnection());
    EXPECT_EQ(next.GetShareMenu(text), DeviceCode::Success);
    EXPECT_EQ(text, u"<menu/>");
}

TEST_P(PtpRoad, EndsInTheOperationsOwnCodeWhereTheCableIsPulled) {
    const std::uint32_t small = camera.add(100'000), large = camera.add(21'000'000);
    addDocument("DEVICEID.XML", "<id/>");
    FileInfoList list;
    const struct {
        const char* fault;
        std::function<DeviceCode(PtpDevice&)> run;
        DeviceCode code;
    } cases[] = {
        {"op=0x1008", [&](auto& it) { return it.GetFileInfo(list, nullptr); },
         DeviceCode::ReadFailed},
        {"op=0x1009 phase=data at=50%", [&](auto& it) { return copy(it, small).first; },
         DeviceCode::ReadFailed},
        {"op=0x101B", [&](auto& it) { return copy(it, large).first; }, DeviceCode::ReadFailed},
        {"op=0x1009", [&](auto& it) { return it.GetDeviceID(text); }, DeviceCode::ReadFailed},
        {"op=0x1007", [&](auto& it) { return it.GetTagMenu(text); }, DeviceCode::ReadFailed},
        {"op=0x100D phase=data", [&](auto& it) { return it.PutTagMenu(u"x"); },
         DeviceCode::WriteFailed},
        {"op=0x1016 phase=data", [&](auto& it) { return it.PutDeviceTime(u""); },
         DeviceCode::WriteFailed},
        {"op=0x100B", [&](auto& it) { return it.DeleteFile(idOf(large)); },
         DeviceCode::DeleteRefused},
    };
    for (const auto& one : cases) {
        PtpDevice pulled;
        pulled.port = device.port;
        ASSERT_TRUE(pulled.CheckConnection()) << one.fault;
        camera.tell(std::string("fault unplug ") + one.fault);
        EXPECT_EQ(one.run(pulled), one.code) << one.fault;
        camera.tell("plug");
    }
}

TEST_P(PtpRoad, BringsNoByteThatTheCameraDidNotSend) {
    ASSERT_TRUE(device.CheckConnection());
    const auto told = [&](const char* options) {
        return static_cast<std::uint32_t>(
            std::stoul(camera.tell(std::string("add ") + options), nullptr, 0));
    };
    const std::pair nothing(DeviceCode::ReadFailed, std::string());
    EXPECT_TRUE(copy(device, told("random=1000 size=1001")) == nothing);
    EXPECT_TRUE(copy(device, told("random=1000 size=999")) == nothing);
    EXPECT_TRUE(copy(device, told("random=300000 size=0xFFFFFFFF")) ==
                std::pair(DeviceCode::ReadFailed, randomText(0x40000)));
    EXPECT_EQ(copy(device, told("random=21001000 size=21000000")).first, DeviceCode::ReadFailed);
    const std::uint32_t picture = camera.add(1000);
    camera.tell("fault answer value=0x2001 op=0x1009");  // OK, and no data
    EXPECT_TRUE(copy(device, picture) == nothing);
    camera.tell("fault answer value=0x2001 op=0x1008");
    EXPECT_TRUE(copy(device, picture) == nothing);
    EXPECT_EQ(copy(device, picture).first, DeviceCode::Success);

    // A handle that vanishes during the walk ends that and nothing more.
    camera.tell("fault answer value=0x2009 op=0x1008");
    FileInfoList list;
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::ReadFailed);
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::Success);
    camera.expectNoViolations();
}

TEST_P(PtpRoad, CopiesWhateverTheFramingAndTheLastPacket) {
    ASSERT_TRUE(device.CheckConnection());
    constexpr std::uint32_t head = 12, packet = 512, large = (20 << 20) + 10 * packet;
    const std::string longest = randomText(large + 1);
    for (const char* const framing :
         {"", "split-header", "no-zero-packet", "glue", "extra-zero-packet", "zero-packet-first"}) {
        for (const std::uint32_t size : {40 * packet, 40 * packet - head, large, large - head}) {
            // Of a large object as well a last piece that fills its packets, with its head or not.
            for (const std::uint32_t one : {size - 1, size, size + 1}) {
                const std::uint32_t picture = camera.add(one);
                for (const char* const operation : {"0x1009", "0x101B"})
                    if (*framing)
                        camera.tell("fault " + std::string(framing) +
                                    " phase=data count=999 op=" + operation);
                const auto [code, bytes] = copy(device, picture);
                EXPECT_EQ(code, DeviceCode::Success) << framing << ", " << one;
                EXPECT_TRUE(bytes == std::string_view(longest).substr(0, one))
                    << framing << ", " << one;
                camera.tell("faults clear");
                camera.tell("remove " + std::to_string(picture));
            }
        }
    }
    camera.expectNoViolations();
}

TEST_P(PtpRoad, RefusesWhatAReportInTheMiddleOfATransferAsksFor) {
    const std::uint32_t outer = camera.add(100'000), inner = camera.add(5'000'000);
    ASSERT_TRUE(device.CheckConnection());
    Reports reports;
    reports.during = [&](std::size_t) {
        if (reports.percents.back() < 100) return;
        EXPECT_TRUE(device.CheckConnection());
        EXPECT_EQ(copy(device, inner).first, DeviceCode::ReadFailed);
        EXPECT_EQ(device.DeleteFile(idOf(inner)), DeviceCode::DeleteRefused);
    };
    const Target target;
    EXPECT_EQ(device.GetFile(idOf(outer), &reports, target.handle.get()), DeviceCode::Success);
    EXPECT_TRUE(target.bytes() == randomText(100'000));
    EXPECT_TRUE(copy(device, inner) == std::pair(DeviceCode::Success, randomText(5'000'000)));
    camera.expectNoViolations();
}

TEST(PtpSilence, BehindADeletionIsNoFailure) {
    Camera camera({"--vid", "0x5AF1", "--pid", "0x7C35"});
    const DWORD patience = 50;
    setPlatform(u"EventTimeout", REG_DWORD, &patience, sizeof patience);
    const std::u16string id = idOf(camera.add(10));
    camera.tell("events off");
    PtpDevice device(cam476);
    ASSERT_TRUE(device.CheckConnection());
    EXPECT_EQ(device.DeleteFile(id), DeviceCode::Success);
    EXPECT_EQ(camera.tell("objects"), "[]");
}

}  // namespace
}  // namespace zlk::test
