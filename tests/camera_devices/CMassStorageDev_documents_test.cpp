#include "tests/camera_devices/Card.h"
#include "tests/support/PlatformSettings.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

using Get = DeviceCode (CImageDev::*)(std::u16string&);
using Put = DeviceCode (CImageDev::*)(std::u16string);

class CardDocuments : public testing::Test {
  protected:
    CardDocuments() { create_directory(card.folder / "MISC"); }

    std::pair<DeviceCode, std::u16string> get(Get operation) {
        std::u16string text = u"left over";
        const DeviceCode code = (device.*operation)(text);
        return {code, text};
    }

    Card card{u"GLIMMERBOX 283"};
    CMassStorageDev device{card.root(), shareCameraId};
};

TEST_F(CardDocuments, AreReadFromTheirFiles) {
    const struct {
        const char* file;
        Get get;
    } cases[] = {{"AUTPRINT.MRK", &CImageDev::GetDpofFile},
                 {"INTENT.XML", &CImageDev::GetIntentFile},
                 {"SHAREOLD.XML", &CImageDev::GetShareMenu},
                 {"TAGOLD.XML", &CImageDev::GetTagMenu},
                 {"DEVICEID.XML", &CImageDev::GetDeviceID},
                 {"DIAGNOSTICS.XML", &CImageDev::GetCameraDiagnostic}};
    using Answer = std::pair<DeviceCode, std::u16string>;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const fs::path path = card.folder / "MISC" / c.file;
        EXPECT_EQ(get(c.get), Answer(DeviceCode::ReadFailed, u""));
        create_directory(path);
        EXPECT_EQ(get(c.get), Answer(DeviceCode::ReadFailed, u""));
        remove(path);
        writeFile(path, "");
        EXPECT_EQ(get(c.get), Answer(DeviceCode::Success, u""));
        writeFile(path, std::string("Grüße \xFF\0behind", 16));
        EXPECT_EQ(get(c.get), Answer(DeviceCode::Success, u"Grüße \uFFFD"));
        fs::resize_file(path, (16 << 20) + 1);  // mostly a hole
        EXPECT_EQ(get(c.get), Answer(DeviceCode::OutOfMemory, u""));
        fs::resize_file(path, 5ull << 30);
        EXPECT_EQ(get(c.get), Answer(DeviceCode::OutOfMemory, u""));
    }
}

TEST_F(CardDocuments, AreWrittenReplacedAndDeletedByTheEmptyText) {
    const struct {
        const char* file;
        Put put;
        std::string end;
    } cases[] = {{"AUTPRINT.MRK", &CImageDev::PutDpofFile, ""},
                 {"INTENT.XML", &CImageDev::PutIntentFile, ""},
                 {"SHARENEW.XML", &CImageDev::PutShareMenu, std::string(1, '\0')},
                 {"TAGNEW.XML", &CImageDev::PutTagMenu, std::string(1, '\0')}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const fs::path path = card.folder / "MISC" / c.file;
        EXPECT_EQ((device.*c.put)(u""), DeviceCode::DeleteRefused);
        EXPECT_EQ((device.*c.put)(u"a longer text"), DeviceCode::Success);
        EXPECT_EQ((device.*c.put)(u"Grüße"), DeviceCode::Success);
        EXPECT_EQ(readFile(path), "Grüße" + c.end);
        EXPECT_EQ((device.*c.put)(u""), DeviceCode::Success);
        EXPECT_FALSE(exists(path));
        remove_all(card.folder / "MISC");
        EXPECT_EQ((device.*c.put)(u"text"), DeviceCode::WriteFailed);
        create_directory(card.folder / "MISC");
    }
}

TEST_F(CardDocuments, AMenuOverTheLimitLeavesTheOldOne) {
    const fs::path path = card.folder / "MISC/SHARENEW.XML";
    EXPECT_EQ(device.PutShareMenu(std::u16string(204'799, u'x')), DeviceCode::Success);
    EXPECT_EQ(file_size(path), 204'800u);
    for (const std::u16string& text :
         {std::u16string(204'800, u'x'), std::u16string(68'267, u'\u20AC')})
        EXPECT_EQ(device.PutShareMenu(text), DeviceCode::WriteFailed);
    EXPECT_EQ(file_size(path), 204'800u);
    EXPECT_EQ(device.PutTagMenu(std::u16string(204'800, u'x')), DeviceCode::WriteFailed);
    EXPECT_FALSE(exists(card.folder / "MISC/TAGNEW.XML"));
}

TEST_F(CardDocuments, RequestsAreFilesThatAreThere) {
    EXPECT_FALSE(device.CheckForRequestConfigFile());
    EXPECT_FALSE(device.CheckForRequestTagSetupFile());
    card.write("MISC/CNFSHARE.XML", "");
    EXPECT_TRUE(device.CheckForRequestConfigFile());
    EXPECT_FALSE(device.CheckForRequestTagSetupFile());
    card.write("MISC/CNFTAG.XML", "");
    EXPECT_TRUE(device.CheckForRequestTagSetupFile());
}

TEST_F(CardDocuments, AMessageIsAFileOf200Bytes) {
    const auto set = [](const WCHAR* name, DWORD type, const std::string& bytes) {
        setPlatform(name, type, bytes.data(), bytes.size());
    };
    const std::string none(64, '\0'), first(64, 'A'), second(64, 'B');
    const auto expectMessage = [&](CameraMessage message, const std::string& block1,
                                   const std::string& block2) {
        EXPECT_TRUE(device.SendSpecialMsg(message));
        EXPECT_EQ(readFile(card.folder / "MISC/CAMCODE.XML"),
                  block1 + std::string(36, '\0') + static_cast<char>(message) +
                      std::string(12, '\0') + block2 + std::string(23, '\0'));
    };
    expectMessage(CameraMessage::UnloadDone, none, none);
    set(u"MessageBlock1", REG_BINARY, first);
    set(u"MessageBlock2", REG_BINARY, second);
    expectMessage(CameraMessage::TagCancel, first, second);
    set(u"MessageBlock2", REG_SZ, second);
    for (const std::size_t size : {63, 65}) {
        set(u"MessageBlock1", REG_BINARY, std::string(size, 'A'));
        expectMessage(CameraMessage::ConfigStart, none, none);
    }
}

TEST_F(CardDocuments, AMessageGoesOnlyToACameraThatKnowsIt) {
    CMassStorageDev noShareMenu(card.root(), u"#Zephyr-Lanthorn#Cam947#0000");
    CMassStorageDev unknown(card.root(), card.contextId());
    EXPECT_FALSE(device.SendSpecialMsg(CameraMessage::UnloadError));
    EXPECT_FALSE(device.SendSpecialMsg(CameraMessage::ConfigError));
    EXPECT_FALSE(noShareMenu.SendSpecialMsg(CameraMessage::UnloadDone));
    EXPECT_FALSE(unknown.SendSpecialMsg(CameraMessage::UnloadDone));
    EXPECT_FALSE(exists(card.folder / "MISC/CAMCODE.XML"));
    std::u16string text;
    card.write("MISC/DIAGNOSTICS.XML", "<diagnostic/>");
    EXPECT_EQ(unknown.GetCameraDiagnostic(text), DeviceCode::NotSupported);
    card.remove();
    EXPECT_FALSE(device.SendSpecialMsg(CameraMessage::UnloadDone));
}

}  // namespace
}  // namespace zlk::test
