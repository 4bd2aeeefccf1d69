// How attached devices are found: class keys, port numbers, the second family's table.

#include <gtest/gtest.h>

#include <memory>

#include "foundation/Registry.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PlatformSettings.h"
#include "tests/support/TestMachine.h"
#include "usbscan/host/DeviceEntry.h"
#include "usbscan/usbscan.h"

namespace zlk::usbscan {
namespace {

const std::u16string imageClass =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{6bdd1fc6-810f-11d0-bec7-08002be2092f}";
const std::u16string portableClass =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{EEC5AD98-8080-425f-922A-DABF3DE3F69A}";

std::unique_ptr<DeviceEntry> plugged(const std::string& name, std::uint16_t pid = 0x0001) {
    return std::make_unique<DeviceEntry>(
        deviceFolder(), name, DeviceDescription{0x5AF1, pid, "Maker\nof lines", name, "1"});
}

std::vector<std::u16string> subKeys(const std::u16string& path) {
    const RegistryKey key = regOpenKey(HKEY_LOCAL_MACHINE, path, KEY_READ);
    EXPECT_TRUE(key);
    std::vector<std::u16string> names;
    for (std::uint32_t i = 0; i < regCountSubKeys(key.get()); ++i)
        names.push_back(regEnumKeyName(key.get(), i));
    return names;
}

std::u16string text(const std::u16string& path, const WCHAR* name) {
    std::u16string value;
    regReadString(regOpenKey(HKEY_LOCAL_MACHINE, path, KEY_READ).get(), name, value);
    return value;
}

void set(const std::u16string& path, const WCHAR* name, const std::u16string& value) {
    const RegistryKey key = regCreateKey(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS);
    ASSERT_TRUE(regWriteString(key.get(), name, value));
}

DWORD errorOfOpening(const char* name) {
    return test::errorOf(
        UniqueHandle(CreateFileA(name, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
}

TEST(Ports, classKeysListWhatIsAttachedNow) {
    EXPECT_TRUE(subKeys(imageClass).empty());
    auto camera = plugged("cam0", 0xC101);
    ASSERT_EQ(subKeys(imageClass), std::vector<std::u16string>{u"1000"});
    ASSERT_EQ(subKeys(portableClass), std::vector<std::u16string>{u"1000"});
    const std::u16string key = imageClass + u"\\1000";
    EXPECT_EQ(text(key, u"CreateFileName"), u"\\\\.\\Usbscan1000");
    EXPECT_EQ(text(key, u"MatchingDeviceId"), u"USB\\VID_5AF1&PID_C101");
    EXPECT_EQ(text(key, u"ProviderName"), u"Zephyr-Lanthorn");
    EXPECT_EQ(text(portableClass + u"\\1000", u"CreateFileName"), u"");
    // The store adds to it and overrides it.
    set(key, u"ProviderName", u"Another");
    set(imageClass + u"\\0000", u"CreateFileName", u"\\\\.\\Usbscan7");
    EXPECT_EQ(text(key, u"ProviderName"), u"Another");
    EXPECT_EQ(text(key, u"CreateFileName"), u"\\\\.\\Usbscan1000");
    EXPECT_EQ(subKeys(imageClass), (std::vector<std::u16string>{u"0000", u"1000"}));
    camera.reset();
    EXPECT_EQ(text(key, u"CreateFileName"), u"");
    EXPECT_TRUE(subKeys(portableClass).empty());
}

TEST(Ports, numbersStayWithTheirDeviceAndTheLowestFreeOneIsGiven) {
    auto a = plugged("a"), b = plugged("b"), c = plugged("c");
    EXPECT_EQ(subKeys(imageClass).size(), 3u);
    a.reset();
    auto d = plugged("d", 0xD);
    EXPECT_EQ(subKeys(imageClass), (std::vector<std::u16string>{u"1000", u"1001", u"1002"}));
    EXPECT_EQ(text(imageClass + u"\\1000", u"MatchingDeviceId"), u"USB\\VID_5AF1&PID_000D");
    a = plugged("a", 0xA);
    EXPECT_EQ(subKeys(imageClass).back(), u"1003");
    EXPECT_EQ(text(imageClass + u"\\1003", u"MatchingDeviceId"), u"USB\\VID_5AF1&PID_000A");
}

ZLK_CHILD(servesADevice) {
    const auto camera = plugged("killed");
    child.say("plugged");
    child.hear();
    return 0;
}

TEST(Ports, aDeviceGoesWithTheProcessThatServesIt) {
    test::ChildProcess server("servesADevice");
    ASSERT_EQ(server.hear(), "plugged");
    ASSERT_EQ(subKeys(imageClass).size(), 1u);
    EXPECT_THROW(plugged("killed"), std::exception);
    server.kill();
    EXPECT_TRUE(subKeys(imageClass).empty());
    EXPECT_EQ(errorOfOpening("\\\\.\\Usbscan1000"), ERROR_FILE_NOT_FOUND);
    EXPECT_NO_THROW(plugged("killed"));
}

ZLK_CHILD(listsAndDaemonises) {
    UniqueHandle(OpenFileMappingW(FILE_MAP_ALL_ACCESS, 0, devicePathTableName)).reset();
    if (::fork() != 0) return 0;
    child.hear();  // until the one who listed is gone
    const UniqueHandle table(OpenFileMappingW(FILE_MAP_ALL_ACCESS, 0, devicePathTableName));
    const void* view = table ? MapViewOfFile(table.get(), FILE_MAP_READ, 0, 0, 0) : nullptr;
    child.say(view ? std::to_string(*static_cast<const std::uint8_t*>(view)) : "none");
    ::_exit(0);
}

TEST(Ports, theTableOfDevicePathsOutlivesADaemonsParent) {
    test::setSecondFamily();
    const auto camera = plugged("a");
    test::ChildProcess application("listsAndDaemonises");
    EXPECT_EQ(application.wait(), 0);
    application.say("gone");
    EXPECT_EQ(application.hear(), "1");
}

TEST(Ports, aDevicePathOpensNoOtherModelThatHasItsPortNow) {
    const auto camera = plugged("a", 0xA);
    EXPECT_EQ(errorOfOpening("\\\\?\\usb#vid_5af1&pid_000b#1000"), ERROR_FILE_NOT_FOUND);
}

TEST(Ports, theTableOfDevicePathsKeepsPlacesAndTransactionIds) {
    test::setSecondFamily();
    auto a = plugged("a", 0xA), b = plugged("b", 0xB);
    const auto open = [] { return OpenFileMappingW(FILE_MAP_ALL_ACCESS, 0, devicePathTableName); };
    const UniqueHandle table(open());
    ASSERT_TRUE(table);
    auto* bytes = static_cast<std::uint8_t*>(MapViewOfFile(table.get(), FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(bytes, nullptr);
    auto* entries = reinterpret_cast<DevicePathEntry*>(bytes + 1);
    ASSERT_EQ(bytes[0], 2);
    EXPECT_STREQ(entries[0].port, "usb#vid_5af1&pid_000a#1000");
    EXPECT_EQ(entries[1].pid, 0xBu);
    EXPECT_EQ(entries[1].state, 1u);
    entries[1].transactionID = 57;
    b.reset();
    UniqueHandle(open()).reset();
    EXPECT_EQ(bytes[0], 2);
    EXPECT_EQ(entries[1].vid, 0u);
    b = plugged("b", 0xB);
    UniqueHandle(open()).reset();
    EXPECT_EQ(entries[1].pid, 0xBu);
    EXPECT_EQ(entries[1].transactionID, 57u);
    // No more than there is room for.
    std::vector<std::unique_ptr<DeviceEntry>> more;
    for (int i = 0; i < 15; ++i) more.push_back(plugged("more" + std::to_string(i)));
    UniqueHandle(open()).reset();
    EXPECT_EQ(bytes[0], 15);
    EXPECT_EQ(entries[15].vid, 0u);
}

}  // namespace
}  // namespace zlk::usbscan
