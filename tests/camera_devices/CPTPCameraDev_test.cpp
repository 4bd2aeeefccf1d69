// What a PTP device asks of its driver, call by call, and what it makes of the answers.

#include <optional>

#include "tests/camera_devices/PtpDevice.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;
using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;
using testing::Throw;

constexpr std::uint32_t chunk = 0x40000;
constexpr std::uint32_t onePiece = 20 << 20;

/// A connected device on a scripted driver.
class PtpDeviceTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { registerModules(); }
    void SetUp() override { connect(cam283); }

    void connect(const WCHAR* lowLevelId) {
        device.emplace(lowLevelId);
        auto made = std::make_unique<NiceDriver>();
        driver = made.get();
        device->driver = std::move(made);
        ASSERT_TRUE(device->CheckConnection());
    }
    Copy copy(const WCHAR* id) { return copyOf(*device, id, &reports); }

    std::optional<PtpDevice> device;
    NiceDriver* driver = nullptr;
    Reports reports;
    std::u16string text = u"old";
};

TEST(PtpConnection, LooksForAPortUntilThereIsOne) {
    PtpDevice device;
    device.port.clear();
    EXPECT_FALSE(device.CheckConnection());
    device.port = firstPort;
    auto driver = std::make_unique<NiceDriver>();
    EXPECT_CALL(*driver, setDeviceId(0x5AF1, 0x7D01));
    EXPECT_CALL(*driver, openSession);
    EXPECT_CALL(*driver, closeSession).Times(0);
    EXPECT_CALL(*driver, checkConnection)
        .WillOnce(Return(true))
        .WillOnce(Return(false))
        .WillOnce(Throw(PTP_TRANSPORT_ERROR))
        .WillOnce(Return(true));
    device.driver = std::move(driver);
    for (const bool connected : {true, false, false, true})  // on the driver that it has
        EXPECT_EQ(device.CheckConnection(), connected);
}

TEST(PtpConnection, GoesOnInAnOpenSessionAndInNoOtherCase) {
    for (const auto& [raised, connected] : {std::pair{PTP_SESSION_ALREADY_OPEN, true},
                                            {PTP_INVALID_TRANSACTION_ID, true},
                                            {PTP_GENERAL_ERROR, false}}) {
        PtpDevice device;
        auto driver = std::make_unique<NiceDriver>();
        EXPECT_CALL(*driver, openSession).WillOnce(Throw(raised));
        device.driver = std::move(driver);
        EXPECT_EQ(device.CheckConnection(), connected) << raised;
    }
}

TEST(PtpConnection, NamesTheDevicesOfTheTableAsTheirDriverDoes) {
    const auto pathOf = [](const WCHAR* port, const WCHAR* id = cam283) {
        PtpDevice device(id);
        device.port = port;
        device.driver = std::make_unique<NiceDriver>();
        const bool connected = device.CheckConnection();
        EXPECT_EQ(connected, !device.path.empty());
        return device.path;
    };
    EXPECT_EQ(pathOf(u"\\\\.\\usbscan12", u"usb\\vid_5af1&pid_7d01\\5"), u"\\\\.\\Usbscan12");
    EXPECT_EQ(pathOf(u"usb#vid_5af1"), u"\\\\.\\Usbscan-1");
    EXPECT_EQ(pathOf(u"\\\\.\\Usbscan"), u"\\\\.\\Usbscan-1");
    for (const WCHAR* unknown : {u"VID_5AF1&PID_FFFF", u"VID_5AF1", u"VID_&PID_", u""})
        EXPECT_EQ(pathOf(firstPort, unknown), u"");
    setSecondFamily();
    EXPECT_EQ(pathOf(u"usb#vid_5af1#Usbscan7"), u"usb#vid_5af1#Usbscan7");
}

TEST_F(PtpDeviceTest, ListsFilesAndFindsTheDocumentsAmongThem) {
    const std::u16string longName(254, u'n');
    driver->add(0x80000001, u"Pict & 1.jpg", "abc")
        .CaptureDate.assign(wString(u"20050704T130509.5+0200"));
    driver->add(5, u"INTENT.XML", "", 0x3001);  // a folder: isn't listed, but counts
    driver->add(6, u"AutPrint.mrk", "print");
    driver->add(7, longName.c_str(), "");
    EXPECT_CALL(*driver, getStorageIDs)
        .WillRepeatedly(Return(ScriptedDriver::Handles{0x10001, 0x20001}));
    EXPECT_CALL(*driver, getNumberObjects(0x10001, 0, 0)).WillRepeatedly(Return(4));
    EXPECT_CALL(*driver, getNumberObjects(0x20001, 0, 0)).WillRepeatedly(Return(0));
    EXPECT_CALL(*driver, getObjectHandles(0x10001, 0, 0)).Times(2);  // of no other storage
    const std::u16string xml = listingOf(*device, &reports);
    EXPECT_THAT(column(xml, u"id"), ElementsAre(u"6", u"7", u"-2147483647"));
    EXPECT_THAT(column(xml, u"camerapath"),
                ElementsAre(u"DCIM\\AutPrint.mrk", u"DCIM\\" + longName, u"DCIM\\Pict & 1.jpg"));
    EXPECT_EQ(column(xml, u"created")[2], u"07/04/2005 13:05:09");
    EXPECT_EQ(column(xml, u"size")[2], u"3");
    EXPECT_THAT(reports.percents, ElementsAre(25, 50, 75, 100, 100));

    EXPECT_EQ(device->GetDpofFile(text), DeviceCode::Success);
    EXPECT_EQ(text, u"print");
    EXPECT_CALL(*driver, deleteObject(5, 0));
    EXPECT_EQ(device->PutIntentFile(u""), DeviceCode::Success);
    EXPECT_EQ(device->PutIntentFile(u"x"), DeviceCode::NotSupported);

    // Stopped after the last file: that has failed, and what is there stays there.
    reports.stopAt = 5 + 4;
    const std::u16string stopped = listingOf(*device, &reports, DeviceCode::ReadFailed);
    EXPECT_EQ(column(stopped, u"id").size(), 3u);
}

TEST_F(PtpDeviceTest, ReadsAndSetsTheClock) {
    const auto deviceTime = [&](const WCHAR* date) {
        PropertyValue value;
        value.text.assign(wString(date));
        EXPECT_CALL(*driver, getDevicePropValue(0x5011, 0xFFFF)).WillOnce(Return(value));
        EXPECT_EQ(device->GetDeviceTime(text), DeviceCode::Success);
        XmlDocument document;
        std::u16string shown;
        EXPECT_TRUE(document.load(text) && document.value(u"time", shown));
        return shown;
    };
    EXPECT_EQ(deviceTime(u"20050704x130509Z"), u"07/04/2005 13:05:09");
    EXPECT_EQ(deviceTime(u"20050704"), u"07/04/2005 00:00:00");
    EXPECT_EQ(deviceTime(u"20371231T235959"), u"12/31/2037 23:59:59");
    EXPECT_EQ(deviceTime(u"19700101T000000"), u"01/02/1970 00:00:00");
    for (const WCHAR* nonsense :
         {u"20380101T000000", u"20051304T130509", u"20050700T130509", u"20050704T240000",
          u"-2005-7-4T13:05", u"yesterday", u"2", u""}) {
        FileTimestamp shown;
        shown.fromText(deviceTime(nonsense));
        EXPECT_NEAR(static_cast<double>(shown.seconds() - _time64()), 0, 60);
    }
    EXPECT_CALL(*driver, setDevicePropValue(0x5011, _, 0xFFFF))
        .WillOnce([](auto, const PropertyValue& value, auto) {
            EXPECT_EQ(std::u16string(value.text.view()), u"20260301T010203");
        })
        .WillOnce(Throw(PTP_GENERAL_ERROR));
    FileTimestamp time;
    time.fromText(u"02/29/2026 01:02:03");  // runs over
    EXPECT_EQ(device->PutDeviceTime(time.toXml(u"time")), DeviceCode::Success);
    EXPECT_EQ(device->PutDeviceTime(u"<not a time"), DeviceCode::WriteFailed);
}

TEST_F(PtpDeviceTest, CopiesUpTo20MiBInOnePieceAndMoreInChunks) {
    const std::string bytes = randomText(onePiece + 1);
    driver->add(1, u"a", bytes.substr(0, onePiece));
    driver->add(2, u"b", bytes);
    EXPECT_CALL(*driver, getObject(1, _, onePiece, &reports)).Times(2);
    EXPECT_TRUE(copy(u"1") == Copy(DeviceCode::Success, driver->find(1).bytes));

    {
        InSequence order;
        EXPECT_CALL(*driver, getPartialObject(2, 0, chunk, _)).WillOnce(Return(0));
        for (std::uint32_t at = 0; at <= onePiece; at += chunk)
            EXPECT_CALL(*driver, getPartialObject(2, at, chunk, _));
    }
    EXPECT_TRUE(copy(u"2") == Copy(DeviceCode::Success, bytes));
    EXPECT_EQ(reports.percents.size(), 81u);
    EXPECT_EQ(reports.percents[0], 1);
    EXPECT_EQ(reports.percents[80], 100);

    reports.stopAt = 81 + 3;
    EXPECT_CALL(*driver, getPartialObject).WillRepeatedly(Return(chunk));
    const auto [code, some] = copy(u"2");
    EXPECT_EQ(code, DeviceCode::Success);
    EXPECT_EQ(some.size(), 3 * chunk);

    EXPECT_CALL(*driver, receivedData).WillOnce(Return(100)).WillOnce(Return(0));
    EXPECT_EQ(copy(u"2").first, DeviceCode::ReadFailed);  // which asks for its description again

    const Target unwritable(GENERIC_READ);
    EXPECT_CALL(*driver, receivedData).WillRepeatedly([this] { return driver->received; });
    for (const WCHAR* id : {u"1", u"2"})
        EXPECT_EQ(device->GetFile(id, &reports, unwritable.handle.get()),
                  DeviceCode::PcFileUnusable);
}

TEST_F(PtpDeviceTest, GivesTheStockPictureForAThumbnailThatDoesNotCome) {
    const std::filesystem::path file = newFolder() / "thumb.jpg";
    const auto thumbnail = [&](const std::u16string& name, std::uint32_t size) {
        driver->add(1, name.c_str(), "").ThumbCompressedSize = size;
        EXPECT_EQ(device->GetThumbnail(u"1", pathText(file)), DeviceCode::Success);
        return readFile(file);
    };
    EXPECT_CALL(*driver, getThumb(1, _, 5)).WillOnce([&](auto, void* to, auto) {
        driver->received = 5;
        "thumb"s.copy(static_cast<char*>(to), 5);
    });
    EXPECT_EQ(thumbnail(u"A.JPG", 5), "thumb");

    EXPECT_CALL(*driver, getThumb).Times(0);
    const std::string stock = thumbnail(u"A.JPG", 0);
    EXPECT_EQ(stock.substr(0, 2), "\xFF\xD8");
    // One fails, one brings nothing.
    EXPECT_CALL(*driver, getThumb).WillOnce(Throw(PTP_INCOMPLETE_TRANSFER)).WillOnce([&] {
        driver->received = 0;
    });
    EXPECT_TRUE(thumbnail(u"B.JPG", 5) == stock);
    EXPECT_TRUE(thumbnail(u"..\\..\\A.JPG", 5) == stock);
    EXPECT_FALSE(thumbnail(u"A.MOV", 0) == stock);
    for (const char16_t* name : {u"..", u"  "}) EXPECT_FALSE(thumbnail(name, 0).empty());
    EXPECT_TRUE(thumbnail(u"\U0001F4F7" + std::u16string(59, u'n') + u".jpg", 0) == stock);
    EXPECT_TRUE(thumbnail(std::u16string(250, u'\u00FC') + u".jpg", 0) == stock);
    EXPECT_TRUE(std::filesystem::is_empty(machineRoot() / "tmp" / "ZL GlimmerBox" /
                                          "Temporary File Cache"));

    EXPECT_EQ(device->GetThumbnail(u"1", pathText(file / "no folder")), DeviceCode::PcFileUnusable);
    EXPECT_EQ(device->GetThumbnail(u"2", pathText(file)), DeviceCode::ReadFailed);
    driver->objects[1].info.ThumbCompressedSize = 0xFFFFFFFF;
    EXPECT_EQ(device->GetThumbnail(u"1", pathText(file)), DeviceCode::OutOfMemory);
}

TEST_F(PtpDeviceTest, ReadsDocumentsAsTheyAreNow) {
    EXPECT_EQ(device->GetShareMenu(text), DeviceCode::Success);
    EXPECT_EQ(text, u"");
    driver->add(1, u"ShareOld.xml", "\xEF\xBB\xBF<\xC3\xBC/>\0rest"s, 0x3002);
    driver->add(2, u"CNFSHARE.XML", "", 0x3002);
    driver->add(3, u"DIAGNOSTICS.XML", "<d/>", 0x3002);
    driver->add(4, u"CNFTAG.XML", "", 0x3000);  // filed as something else
    driver->add(5, u"DEVICEID.XML", "<id/>", 0x3002);
    driver->add(6, u"TAGOLD.XML", "<tags/>", 0x3002);
    for (const auto& [get, document] : {std::pair{&CImageDev::GetShareMenu, u"\uFEFF<\u00FC/>"},
                                        {&CImageDev::GetCameraDiagnostic, u"<d/>"},
                                        {&CImageDev::GetDeviceID, u"<id/>"},
                                        {&CImageDev::GetTagMenu, u"<tags/>"}}) {
        EXPECT_EQ(((*device).*get)(text), DeviceCode::Success);
        EXPECT_EQ(text, document);
    }
    EXPECT_TRUE(device->CheckForRequestConfigFile());
    EXPECT_FALSE(device->CheckForRequestTagSetupFile());

    driver->objects[3].info.ObjectCompressedSize = (16 << 20) + 1;
    EXPECT_EQ(device->GetCameraDiagnostic(text), DeviceCode::OutOfMemory);
    EXPECT_EQ(text, u"");
    // No description, then no data.
    EXPECT_CALL(*driver, receivedData)
        .WillOnce(Return(0))
        .WillOnce(Return(100))
        .WillOnce(Return(0));
    driver->objects[1].info.ObjectCompressedSize = 0;
    EXPECT_EQ(device->GetShareMenu(text), DeviceCode::ReadFailed);
    driver->objects[1].info.ObjectCompressedSize = 5;
    EXPECT_EQ(device->GetShareMenu(text), DeviceCode::ReadFailed);
    EXPECT_CALL(*driver, getObjectHandles).WillRepeatedly(Throw(PTP_TRANSPORT_ERROR));
    for (const auto get : {&CImageDev::GetIntentFile, &CImageDev::GetDeviceID})
        EXPECT_EQ(((*device).*get)(text), DeviceCode::ReadFailed);
    EXPECT_FALSE(device->CheckForRequestConfigFile());
}

TEST_F(PtpDeviceTest, SendsMenusWithBlanksBesideTheOldOnes) {
    driver->add(1, u"TAGOLD.XML", "", 0x3002).ParentObject = 7;
    driver->add(2, u"SHAREOLD.XML", "", 0x3002).ParentObject = 8;  // seen last
    const auto sent = [&](auto put, const std::u16string& menu) {
        std::uint32_t announced = 0;
        std::string bytes;
        EXPECT_CALL(*driver, sendObjectInfo(_, 0, 8))
            .WillOnce([&](const ObjectInfoDataset& info, auto, auto) {
                announced = info.ObjectCompressedSize;
                EXPECT_EQ(info.ParentObject, 8u);
                EXPECT_EQ(info.ObjectFormat, 0x3002);
            });
        EXPECT_CALL(*driver, sendObject).WillOnce([&](const void* data, std::uint32_t size) {
            EXPECT_EQ(size, announced);
            bytes.assign(static_cast<const char*>(data), size);
        });
        EXPECT_EQ(((*device).*put)(menu), DeviceCode::Success);
        return bytes;
    };
    const auto share = &CImageDev::PutShareMenu, tag = &CImageDev::PutTagMenu;
    EXPECT_EQ(sent(share, std::u16string(31, u'x')), std::string(31, 'x') + std::string(20, ' '));
    EXPECT_EQ(sent(share, std::u16string(32, u'x')).size(), 53u);
    EXPECT_EQ(sent(tag, std::u16string(31, u'x')), std::string(31, 'x'));
    EXPECT_EQ(sent(tag, std::u16string(32, u'\u00FC')).size(), 65u);  // characters count
    const std::u16string most(204'799, u'x');
    EXPECT_EQ(sent(tag, most).size(), most.size());

    std::u16string fullest = most;
    fullest[0] = u'\u00FC';
    EXPECT_EQ(sent(tag, fullest).size(), 204'800u);

    EXPECT_CALL(*driver, sendObjectInfo).WillOnce(Throw(PTP_GENERAL_ERROR));
    EXPECT_EQ(device->PutTagMenu(most + u"x"), DeviceCode::WriteFailed);
    EXPECT_EQ(device->PutShareMenu(most), DeviceCode::WriteFailed);
    EXPECT_EQ(device->PutShareMenu(u"x"), DeviceCode::WriteFailed);  // the one that was sent
}

TEST_F(PtpDeviceTest, TellsTheCameraAMessageAsTheSizeOfAnObject) {
    std::vector<std::uint32_t> sizes;
    EXPECT_CALL(*driver, sendObject).Times(0);
    EXPECT_CALL(*driver, sendObjectInfo(_, 0, 0))
        .WillRepeatedly([&](const ObjectInfoDataset& info, auto, auto) {
            sizes.push_back(info.ObjectCompressedSize);
            EXPECT_EQ(info.ProtectionStatus, 1);
        });
    EXPECT_CALL(*driver, closeSession).WillOnce(Return()).WillOnce(Throw(PTP_TRANSPORT_ERROR));
    EXPECT_TRUE(device->SendSpecialMsg(CameraMessage::UnloadStart));
    EXPECT_TRUE(device->SendSpecialMsg(CameraMessage::UnloadDone));
    EXPECT_TRUE(device->SendSpecialMsg(CameraMessage::TagDone));
    EXPECT_FALSE(device->SendSpecialMsg(CameraMessage::ConfigDone));
    EXPECT_THAT(sizes, ElementsAre(1, 2, 202, 102));
}

TEST_F(PtpDeviceTest, WaitsForOneModelsEventBehindADeletion) {
    EXPECT_CALL(*driver, getEvent).Times(0);
    EXPECT_EQ(device->DeleteFile(u"1"), DeviceCode::Success);
    connect(cam476);
    InSequence order;
    EXPECT_CALL(*driver, deleteObject(0xFFFFFFFF, 0));
    EXPECT_CALL(*driver, getEvent);
    EXPECT_EQ(device->DeleteFile(u"-1"), DeviceCode::Success);
}

TEST_F(PtpDeviceTest, AsksACameraWithoutTheShareMenuForNothingOfIt) {
    const auto expectRefused = [&](auto... operations) {
        for (const DeviceCode code : {((*device).*operations)(text)...})
            EXPECT_EQ(code, DeviceCode::NotSupported);
    };
    connect(cam539);
    EXPECT_CALL(*driver, checkConnection).Times(0);
    expectRefused(&CImageDev::GetShareMenu, &CImageDev::GetTagMenu, &CImageDev::GetDeviceTime,
                  &CImageDev::PutShareMenu, &CImageDev::PutTagMenu, &CImageDev::PutDeviceTime);
    EXPECT_EQ(device->GetDeviceID(text), DeviceCode::Success);
    EXPECT_FALSE(device->SendSpecialMsg(CameraMessage::UnloadStart));
    EXPECT_FALSE(device->CheckForRequestConfigFile());
    connect(cam368);
    EXPECT_CALL(*driver, getDevicePropValue).Times(0);
    expectRefused(&CImageDev::GetDeviceTime);
}

}  // namespace
}  // namespace zlk::test
