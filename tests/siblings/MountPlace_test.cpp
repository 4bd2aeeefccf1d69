// The drive mapper and the card reader, which share how a device's drive is found.

#include <gtest/gtest.h>

#include "interfaces/ICardReader.h"
#include "interfaces/IDriveMapper.h"
#include "platform/card_mounts.h"
#include "tests/platform/registry_support.h"
#include "tests/support/Modules.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;

const std::u16string instance = u"#Zephyr-Lanthorn#Cam539#0000";
constexpr HRESULT noDrive = HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE);

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

    void setStorage(const WCHAR* name, const std::u16string& value) {
        ASSERT_EQ(setText(storage.get(), name, value), ERROR_SUCCESS);
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

    /// What both say of a device: the root of its drive, and the state of its card.
    using Place = std::pair<std::u16string, LONG>;
    Place place(const std::u16string& contextId) { return {prefix(contextId), card(contextId)}; }

    const RegistryKey storage =
        createKey(HKEY_LOCAL_MACHINE,
                  u"Software\\Zephyr-Lanthorn\\PictureSuite\\Cam539\\DeviceInstances\\0000\\"
                  u"Functions\\Storage");
};

TEST_F(MountPlaceTest, FindsAnInstanceByWhatItsEntrySays) {
    mount(u'E', u"ZL", u"GLIMMERBOX 53");  // asked first, and the beginning of the other's name
    mount(u'F', u"ZL", u"GLIMMERBOX 539");
    mount(u'G', u"", u"READER");
    EXPECT_EQ(prefix(instance), u"");
    const auto expect = [this](const char16_t* root, std::initializer_list<const char16_t*> ids) {
        for (const char16_t* deviceInstanceId : ids) {
            SCOPED_TRACE(utf8Text(deviceInstanceId));
            setStorage(u"DeviceInstanceID", deviceInstanceId);
            EXPECT_EQ(place(instance), Place(root, *root ? cardInserted : noDrive));
        }
    };
    expect(u"E:\\", {u"E", u"e:", u"zl glimmerbox 53", u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_53"});
    expect(u"F:\\", {u"F:\\", u"ZL GLIMMERBOX 539",
                     u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_539&Rev_1.00\\0001&0"});
    expect(u"G:\\", {u"READER"});
    expect(u"", {u"X:\\", u"1", u"ZL GLIMMERBOX", u"GLIMMERBOX 539",
                 u"USBSTOR\\Disk&Ven_ZL&Prod_Glimmerbox_5", u"\\\\nowhere\\cards", u"/tmp"});
}

TEST_F(MountPlaceTest, AsksForTheNetworkPathOnlyWithoutAnInstanceId) {
    mount(u'E', u"ZL", u"539");
    mount(u'F', u"ZL", u"540");
    setStorage(u"UNCPath", u"F:\\");
    EXPECT_EQ(prefix(instance), u"F:\\");
    setStorage(u"DeviceInstanceID", u"");
    EXPECT_EQ(prefix(instance), u"F:\\");
    RegSetValueExW(storage.get(), u"DeviceInstanceID", 0, REG_BINARY,
                   reinterpret_cast<const BYTE*>(u"E"), 4);
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
    // Of two alike, the one with a card.
    EXPECT_EQ(place(instance), Place(u"F:\\", cardInserted));
    std::filesystem::remove(second);
    EXPECT_EQ(place(instance), Place(u"E:\\", cardMissing));
    for (const WCHAR letter : {u'E', u'F'}) EXPECT_TRUE(unmountCard(letter));
    EXPECT_EQ(place(instance), Place(u"", noDrive));
}

TEST_F(MountPlaceTest, TakesADriveIdAtItsWord) {
    const auto folder = mount(u'E', u"", u"");
    mount(u'F', u"", u"", true);
    EXPECT_EQ(prefix(u"#Zephyr-Lanthorn#RemovableDrive#E"), u"E:\\");
    EXPECT_EQ(prefix(u"#zephyr-lanthorn#removabledrive#e"), u"E:\\");
    EXPECT_EQ(place(u"#Zephyr-Lanthorn#CDROMDrive#F"), Place(u"F:\\", cardInserted));
    for (const std::u16string& id :
         {u""s, u"#"s, u"##"s, u"###"s, u"E"s, u"#Zephyr-Lanthorn#RemovableDrive#"s,
          u"#Zephyr-Lanthorn#RemovableDrive#X"s, u"#Zephyr-Lanthorn#CDROMDrive#1"s,
          u"#Zephyr-Lanthorn#RemovableDrive#%%%%nowhere%%cards"s, u"#Somebody#RemovableDrive#E"s,
          u"#Zephyr-Lanthorn#Cam539\\DeviceInstances\\0000#"s, u"#a#..#.."s, u"#a#b#c\nd"s,
          std::u16string(10'000, u'#'), u"#a#" + std::u16string(10'000, u'b') + u"#c"})
        EXPECT_EQ(place(id), Place(u"", noDrive)) << utf8Text(id);
    std::filesystem::remove(folder);
    EXPECT_EQ(card(u"#Zephyr-Lanthorn#RemovableDrive#E"), cardMissing);
}

TEST_F(MountPlaceTest, CardReaderKnowsOneQuestion) {
    ComPtr<ICardReader> reader;
    ASSERT_EQ(reader.create(cardReaderProgId), S_OK);
    LONG value = 7;
    EXPECT_EQ(reader->get_oidInteger(192, &value), E_INVALIDARG);
    EXPECT_EQ(reader->get_oidInteger(cardStateOid, nullptr), E_POINTER);
    EXPECT_EQ(reader->get_oidInteger(cardStateOid, &value), noDrive);
}

}  // namespace
}  // namespace zlk::test
