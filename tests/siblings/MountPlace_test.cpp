// The drive mapper and the card reader, which share how a device's drive is found.

#include <gtest/gtest.h>

#include "interfaces/ICardReader.h"
#include "interfaces/IDriveMapper.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "platform/volumes.h"
#include "tests/support/Modules.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

const std::u16string instance = u"#Zephyr-Lanthorn#Cam539#0000";

class MountPlaceTest : public testing::Test {
  protected:
    MountPlaceTest() { registerModules(); }

    std::filesystem::path mount(WCHAR letter, const std::u16string& vendor,
                                const std::u16string& product, bool cdrom = false) {
        const auto folder = newFolder();
        CardMount card{pathText(folder), letter, u"WEDDING", vendor, product, cdrom};
        EXPECT_TRUE(mountCard(card)) << GetLastError();
        return folder;
    }

    void setStorage(const std::u16string& name, const std::u16string& value, DWORD type = REG_SZ) {
        HKEY opened = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE,
                                  u"Software\\Zephyr-Lanthorn\\PictureSuite\\Cam539\\"
                                  u"DeviceInstances\\0000\\Functions\\Storage",
                                  0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, nullptr),
                  ERROR_SUCCESS);
        const RegistryKey key(opened);
        ASSERT_EQ(RegSetValueExW(key.get(), name.c_str(), 0, type,
                                 reinterpret_cast<const BYTE*>(value.c_str()),
                                 static_cast<DWORD>((value.size() + 1) * sizeof(WCHAR))),
                  ERROR_SUCCESS);
    }

    std::u16string prefix(const std::u16string& contextId) {
        ComPtr<IDriveMapper> mapper;
        EXPECT_EQ(mapper.create(driveMapperProgId), S_OK);
        EXPECT_EQ(mapper->put_ContextId(Bstr(contextId).get()), S_OK);
        Bstr text;
        EXPECT_EQ(mapper->get_DrivePrefix(text.out()), S_OK);
        return std::u16string(text.view());
    }

    /// The state of the card, or the failure.
    LONG card(const std::u16string& contextId) {
        ComPtr<ICardReader> reader;
        EXPECT_EQ(reader.create(cardReaderProgId), S_OK);
        EXPECT_EQ(reader->put_ContextID(Bstr(contextId).get()), S_OK);
        LONG value = -1;
        const HRESULT result = reader->get_oidInteger(cardStateOid, &value);
        return FAILED(result) ? result : value;
    }
};

TEST_F(MountPlaceTest, FindsAnInstanceByWhatItsEntrySays) {
    mount(u'E', u"ZL", u"GLIMMERBOX 53");  // asked first, and the beginning of the other's name
    mount(u'F', u"ZL", u"GLIMMERBOX 539");
    mount(u'G', u"", u"READER");
    EXPECT_EQ(prefix(instance), u"");
    const struct {
        const char16_t* deviceInstanceId;
        const char16_t* expected;
    } cases[] = {
        {u"E", u"E:\\"},
        {u"e:", u"E:\\"},
        {u"F:\\", u"F:\\"},
        {u"X:\\", u""},
        {u"1", u""},
        {u"ZL GLIMMERBOX 539", u"F:\\"},
        {u"zl glimmerbox 53", u"E:\\"},
        {u"ZL GLIMMERBOX", u""},
        {u"GLIMMERBOX 539", u""},
        {u"READER", u"G:\\"},
        {u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_539&Rev_1.00\\0001&0", u"F:\\"},
        {u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_53", u"E:\\"},
        {u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_5", u""},
        {u"\\\\nowhere\\cards", u""},
        {u"/tmp", u""},
    };
    for (const auto& [deviceInstanceId, expected] : cases) {
        SCOPED_TRACE(utf8Text(deviceInstanceId));
        setStorage(u"DeviceInstanceID", deviceInstanceId);
        EXPECT_EQ(prefix(instance), expected);
        EXPECT_EQ(card(instance),
                  *expected ? cardInserted : HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE));
    }
}

TEST_F(MountPlaceTest, AsksForTheNetworkPathOnlyWithoutAnInstanceId) {
    mount(u'E', u"ZL", u"539");
    mount(u'F', u"ZL", u"540");
    setStorage(u"UNCPath", u"F:\\");
    EXPECT_EQ(prefix(instance), u"F:\\");
    setStorage(u"DeviceInstanceID", u"");
    EXPECT_EQ(prefix(instance), u"F:\\");
    setStorage(u"DeviceInstanceID", u"E", REG_BINARY);
    EXPECT_EQ(prefix(instance), u"F:\\");
    setStorage(u"DeviceInstanceID", u"E");
    EXPECT_EQ(prefix(instance), u"E:\\");
    setStorage(u"DeviceInstanceID", std::u16string(3000, u'E'));
    EXPECT_EQ(prefix(instance), u"F:\\");
}

TEST_F(MountPlaceTest, TellsAReaderWithoutACardFromNoReader) {
    const auto first = mount(u'E', u"ZL", u"539");
    const auto second = mount(u'F', u"ZL", u"539");
    setStorage(u"DeviceInstanceID", u"ZL 539");
    EXPECT_EQ(prefix(instance), u"E:\\");
    std::filesystem::remove(first);
    EXPECT_EQ(prefix(instance), u"F:\\");  // of two alike, the one with a card
    EXPECT_EQ(card(instance), cardInserted);
    std::filesystem::remove(second);
    EXPECT_EQ(prefix(instance), u"E:\\");
    EXPECT_EQ(card(instance), cardMissing);
    EXPECT_TRUE(unmountCard(u'E'));
    EXPECT_TRUE(unmountCard(u'F'));
    EXPECT_EQ(prefix(instance), u"");
    EXPECT_EQ(card(instance), HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE));
}

TEST_F(MountPlaceTest, TakesADriveIdAtItsWord) {
    const auto folder = mount(u'E', u"", u"");
    mount(u'F', u"", u"", true);
    EXPECT_EQ(prefix(u"#Zephyr-Lanthorn#RemovableDrive#E"), u"E:\\");
    EXPECT_EQ(prefix(u"#zephyr-lanthorn#removabledrive#e"), u"E:\\");
    EXPECT_EQ(prefix(u"#Zephyr-Lanthorn#CDROMDrive#F"), u"F:\\");
    EXPECT_EQ(card(u"#Zephyr-Lanthorn#CDROMDrive#F"), cardInserted);
    for (const char16_t* id :
         {u"", u"#", u"##", u"###", u"E", u"#Zephyr-Lanthorn#RemovableDrive#",
          u"#Zephyr-Lanthorn#RemovableDrive#X", u"#Zephyr-Lanthorn#CDROMDrive#1",
          u"#Zephyr-Lanthorn#RemovableDrive#%%%%nowhere%%cards", u"#Somebody#RemovableDrive#E",
          u"#Zephyr-Lanthorn#Cam539\\DeviceInstances\\0000#", u"#a#..#..", u"#a#b#c\nd"}) {
        EXPECT_EQ(prefix(id), u"") << utf8Text(id);
        EXPECT_EQ(card(id), HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE)) << utf8Text(id);
    }
    EXPECT_EQ(prefix(std::u16string(10'000, u'#')), u"");
    EXPECT_EQ(prefix(u"#a#" + std::u16string(10'000, u'b') + u"#c"), u"");
    std::filesystem::remove(folder);
    EXPECT_EQ(card(u"#Zephyr-Lanthorn#RemovableDrive#E"), cardMissing);
}

TEST_F(MountPlaceTest, CardReaderKnowsOneQuestion) {
    ComPtr<ICardReader> reader;
    ASSERT_EQ(reader.create(cardReaderProgId), S_OK);
    LONG value = 7;
    EXPECT_EQ(reader->get_oidInteger(192, &value), E_INVALIDARG);
    EXPECT_EQ(reader->get_oidInteger(cardStateOid, nullptr), E_POINTER);
    EXPECT_EQ(reader->get_oidInteger(cardStateOid, &value),
              HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE));
}

}  // namespace
}  // namespace zlk::test
