#include <gtest/gtest.h>

#include "tests/ptp/Raised.h"
#include "transport/CVistaUSBTransport.h"
#include "transport/WindowsUSB.h"

namespace zlk::test {
namespace {

TEST(Transports, HaveAMindOfTheirOwnWhileTheyAreClosed) {
    std::uint8_t buffer[4]{};
    std::uint32_t count = 77, vid = 77, pid = 77;
    WindowsUSB usb;
    EXPECT_EQ(usb.getMaxPacketSize(), 64u);
    for (const WCHAR* port : {u"", u"x", u"\\\\.\\Usbscan7", u"\\\\.\\Usbscan7777777777777"})
        EXPECT_EQ(raisedBy([&] { usb.openConnection(port); }), PTP_NO_CONNECTION);
    usb.closeConnection();
    EXPECT_EQ(raisedBy([&] { usb.read(buffer, 4, &count); }), PTP_TRANSPORT_ERROR);
    EXPECT_EQ(raisedBy([&] { usb.write(buffer, 4); }), PTP_TRANSPORT_ERROR);
    EXPECT_EQ(raisedBy([&] { usb.readInterrupt(buffer, 4); }), PTP_TRANSPORT_ERROR);
    EXPECT_EQ(raisedBy([&] { usb.getVidPid(&vid, &pid); }), PTP_TRANSPORT_ERROR);

    CVistaUSBTransport younger;
    younger.openConnection(u"");
    EXPECT_EQ(raisedBy([&] { younger.openConnection(u"usb#nowhere"); }), PTP_NO_CONNECTION);
    younger.read(buffer, 4, &count);
    EXPECT_EQ(count, 77u);
    younger.write(buffer, 4);
    younger.readInterrupt(buffer, 4);
    younger.getVidPid(&vid, &pid);
    EXPECT_EQ(vid, 0u);
    EXPECT_EQ(younger.getMaxPacketSize(), 0u);
}

}  // namespace
}  // namespace zlk::test
