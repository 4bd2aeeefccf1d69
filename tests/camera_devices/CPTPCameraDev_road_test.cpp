// A PTP device on a virtual camera, over the whole road.

#include "tests/camera_devices/PtpDevice.h"

namespace zlk::test {
namespace {

/// On either driver family.
class PtpRoad : public testing::TestWithParam<bool> {
  protected:
    static void SetUpTestSuite() { registerModules(); }
    void SetUp() override {
        if (!GetParam()) return;
        setSecondFamily();
        device.port = ZlPTPdrv(0x5AF1u, 0x7D01u).getPortName().view();
    }

    static Copy copy(PtpDevice& from, std::uint32_t handle) { return copyOf(from, idOf(handle)); }

    Camera camera{{"--vid", "0x5AF1", "--pid", "0x7D01"}};
    PtpDevice device;
};
INSTANTIATE_TEST_SUITE_P(Families, PtpRoad, testing::Bool());

TEST_P(PtpRoad, LeadsThroughEveryOperation) {
    const std::uint32_t small = camera.add(100'000), large = camera.add(21'000'000);
    const auto menu = newFolder() / "menu";
    writeFile(menu, "<menu/>");
    camera.add("format=0x3002 name=SHAREOLD.XML file=" + menu.string());
    ASSERT_TRUE(device.CheckConnection());
    EXPECT_EQ(column(listingOf(device), u"id").size(), 3u);
    EXPECT_TRUE(copy(device, small) == Copy(DeviceCode::Success, randomText(100'000)));
    EXPECT_TRUE(copy(device, large) == Copy(DeviceCode::Success, randomText(21'000'000)));
    EXPECT_EQ(device.DeleteFile(idOf(small)), DeviceCode::Success);
    EXPECT_EQ(device.DeleteFile(idOf(small)), DeviceCode::DeleteRefused);
    EXPECT_EQ(copy(device, small).first, DeviceCode::ReadFailed);
    EXPECT_EQ(device.PutShareMenu(u"<new/>"), DeviceCode::Success);
    EXPECT_EQ(device.PutDeviceTime(FileTimestamp(1'120'000'000).toXml(u"time")),
              DeviceCode::Success);
    std::u16string text;
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

TEST_P(PtpRoad, BringsNoByteThatTheCameraDidNotSend) {
    ASSERT_TRUE(device.CheckConnection());
    const Copy nothing(DeviceCode::ReadFailed, std::string());
    EXPECT_TRUE(copy(device, camera.add("random=1000 size=1001")) == nothing);
    EXPECT_TRUE(copy(device, camera.add("random=1000 size=999")) == nothing);
    EXPECT_TRUE(copy(device, camera.add("random=300000 size=0xFFFFFFFF")) ==
                Copy(DeviceCode::ReadFailed, randomText(0x40000)));
    EXPECT_EQ(copy(device, camera.add("random=21001000 size=21000000")).first,
              DeviceCode::ReadFailed);
    const std::uint32_t picture = camera.add(1000);
    camera.tell("fault answer value=0x2001 op=0x1009");  // OK, and no data
    EXPECT_TRUE(copy(device, picture) == nothing);
    camera.tell("fault answer value=0x2001 op=0x1008");
    EXPECT_TRUE(copy(device, picture) == nothing);
    EXPECT_EQ(copy(device, picture).first, DeviceCode::Success);

    // A handle that vanishes during the walk ends that and nothing more.
    camera.tell("fault answer value=0x2009 op=0x1008");
    listingOf(device, nullptr, DeviceCode::ReadFailed);
    listingOf(device);
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
    EXPECT_TRUE(copy(device, inner) == Copy(DeviceCode::Success, randomText(5'000'000)));
    camera.expectNoViolations();
}

}  // namespace
}  // namespace zlk::test
