#include "platform/card_mounts.h"

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "platform/device_io.h"
#include "platform/drives/SystemVolumes.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::StartsWith;

/// A kernel of the test's own making.
class FakeSystem {
  public:
    FakeSystem() {
        for (const char* folder : {"block", "by-label"}) fs::create_directory(top / folder);
        unmountAll();
        use(top);
    }
    ~FakeSystem() { platform::setSystemRoots({}); }
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;

    static void use(const fs::path& top) {
        platform::setSystemRoots({top / "mountinfo", top / "block", top / "by-label"});
    }
    const fs::path top = newFolder();

    void addDisk(const std::string& name, const std::string& number, bool removable,
                 const std::string& type = "0") {
        const std::string tree[][2] = {{"dev", number + ":0\n"},
                                       {"removable", removable ? "1\n" : "0\n"},
                                       {"device/type", type + "\n"},
                                       {"device/vendor", "ZL      \n"},
                                       {"device/model", "GLIMMERBOX 539  \n"},
                                       {name + "1/partition", "1"},
                                       {name + "1/dev", number + ":1\n"},
                                       {name + "2/partition", "2"},
                                       {name + "2/dev", number + ":2\n"}};
        for (const auto& [path, text] : tree) {
            const fs::path file = top / "block" / name / path;
            fs::create_directories(file.parent_path());
            writeFile(file, text);
        }
    }
    void removeDisk(const std::string& name) { fs::remove_all(top / "block" / name); }

    /// Mounts a device on a new folder, whose path is the result.
    fs::path mount(const std::string& device, const std::string& folder = "",
                   const std::string& source = "/dev/x", const std::string& kind = "vfat") {
        const fs::path path = folder.empty() ? newFolder() : fs::path(folder);
        writeMounts(mounts_ + "36 35 " + device + " / " + path.string() +
                    " rw,noatime master:1 shared:2 - " + kind + " " + source + " rw\n");
        return path;
    }
    void unmountAll() { writeMounts("21 26 0:20 / /proc rw - proc proc rw\nnonsense\n"); }

  private:
    void writeMounts(const std::string& mounts) { writeFile(top / "mountinfo", mounts_ = mounts); }
    std::string mounts_;
};

std::string drives() {
    WCHAR buffer[200];
    const DWORD length = GetLogicalDriveStringsW(200, buffer);
    std::string letters;
    for (DWORD at = 0; at < length; at += 4) {
        EXPECT_EQ(std::u16string_view(buffer + at + 1), u":\\");
        letters += static_cast<char>(buffer[at]);
    }
    return letters;
}

/// The label; or the error in brackets.
std::string labelOf(char letter) {
    const WCHAR root[]{static_cast<WCHAR>(letter), u':', u'\\', 0};
    WCHAR label[200], system[200];
    const DWORD error =
        errorOf(GetVolumeInformationW(root, label, 200, nullptr, nullptr, nullptr, system, 200));
    return error ? "(" + std::to_string(error) + ")" : utf8Text(label);
}

/// The letters and labels of all drives but the fixed one.
std::string labels() {
    const std::string letters = drives();
    EXPECT_EQ(letters.back(), 'Z');
    std::string text;
    for (const char letter : letters.substr(0, letters.size() - 1))
        text += (text.empty() ? "" : ", ") + std::string(1, letter) + " " + labelOf(letter);
    return text;
}

/// Vendor and product of a volume; or the error in brackets.
std::string deviceOf(char letter) {
    const WCHAR volume[]{u'\\', u'\\', u'.', u'\\', static_cast<WCHAR>(letter), u':', 0};
    const UniqueHandle handle(CreateFileW(volume, 0, 3, nullptr, OPEN_EXISTING, 1, nullptr));
    const STORAGE_PROPERTY_QUERY query{};
    char record[1000];
    DWORD size = 0;
    if (!DeviceIoControl(handle.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, record,
                         sizeof record, &size, nullptr))
        return "(" + std::to_string(GetLastError()) + ")";
    STORAGE_DEVICE_DESCRIPTOR head;
    std::memcpy(&head, record, sizeof head);
    EXPECT_EQ(head.Size, size);
    const auto text = [&](DWORD offset) { return offset ? std::string(record + offset) : "none"; };
    return text(head.VendorIdOffset) + "|" + text(head.ProductIdOffset);
}

CardMount cardOf(const fs::path& folder, WCHAR letter = 0, const std::u16string& label = u"") {
    return {pathText(folder), letter, label, u"ZL", u"GLIMMERBOX 539", false};
}

TEST(Drives, TellReadersCardsAndDiscsApart) {
    FakeSystem system;
    system.addDisk("sda", "8", false);
    system.addDisk("sdb", "9", true);        // a card in it
    system.addDisk("sdc", "10", true);       // a reader without one
    system.addDisk("sdd", "11", true);       // the stick that the system runs from
    system.addDisk("sr0", "12", true, "5");  // a disc
    system.addDisk("sr1", "13", true, "5");  // no disc
    fs::create_directories(system.top / "block/loop0");
    system.mount("8:1", "/home");
    const fs::path card = system.mount("9:1");
    system.mount("9:1");  // the same once more
    system.mount("11:1", "/");
    system.mount("11:2", "/data");
    const fs::path disc = system.mount("12:0");
    fs::create_symlink("../../sdb1", system.top / "by-label/WED\\x20DING");

    const std::pair<const WCHAR*, UINT> types[] = {
        {u"b:\\", DRIVE_REMOVABLE},   {u"C:\\", DRIVE_REMOVABLE},   {u"D:\\", DRIVE_CDROM},
        {u"E:\\", DRIVE_CDROM},       {u"Z:\\", DRIVE_FIXED},       {u"A:\\", DRIVE_NO_ROOT_DIR},
        {u"F:\\", DRIVE_NO_ROOT_DIR}, {u"1:\\", DRIVE_NO_ROOT_DIR}, {u"", DRIVE_NO_ROOT_DIR},
        {u"B:\\x", DRIVE_NO_ROOT_DIR}};
    for (const auto& [root, type] : types) EXPECT_EQ(GetDriveTypeW(root), type) << utf8Text(root);
    EXPECT_EQ(labels(), "B WED DING, C (21), D " + disc.filename().string() + ", E (21)");
    EXPECT_EQ(labelOf('F'), "(3)");
    for (const char reader : {'B', 'C'}) EXPECT_EQ(deviceOf(reader), "ZL|GLIMMERBOX 539");
    EXPECT_EQ(deviceOf('Z'), "none|none");

    writeFile(card / "Pict.jpg", "");
    FileStatus status;
    EXPECT_TRUE(_wstat64i32(u"B:\\PICT.jpg", status));
    EXPECT_EQ(errorOf(_wstat64i32(u"C:\\PICT.jpg", status)), ERROR_NOT_READY);
    for (const bool ready : {true, false}) {
        const UniqueHandle volume(CreateFileW(ready ? u"\\\\.\\B:" : u"\\\\.\\C:", GENERIC_WRITE, 3,
                                              nullptr, OPEN_EXISTING, 1, nullptr));
        EXPECT_EQ(FlushFileBuffers(volume.get()) != 0, ready);
    }
}

TEST(Drives, ThatAUserMountsAreCardsWithTheirTexts) {
    FakeSystem system;
    const fs::path folder = newFolder();
    CardMount card = cardOf(folder, u'e', u"WEDDING");
    ASSERT_TRUE(mountCard(card)) << GetLastError();
    EXPECT_EQ(card.letter, u'E');
    CardMount disc = cardOf(newFolder());
    disc.cdrom = true;
    ASSERT_TRUE(mountCard(disc));
    EXPECT_EQ(drives(), "BEZ");
    EXPECT_EQ(GetDriveTypeW(u"B:\\"), DRIVE_CDROM);
    EXPECT_EQ(GetDriveTypeW(u"E:\\"), DRIVE_REMOVABLE);
    EXPECT_EQ(labelOf('E'), "WEDDING");
    WCHAR label[7];
    EXPECT_EQ(
        errorOf(GetVolumeInformationW(u"E:\\", label, 7, nullptr, nullptr, nullptr, nullptr, 0)),
        ERROR_INSUFFICIENT_BUFFER);
    // The store takes a text that ends with half a unit.
    const RegistryKey key =
        createKey(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform\\Mounts\\E");
    ASSERT_EQ(setBytes(key.get(), u"Label", {'a', 0, 'b'}, REG_SZ), ERROR_SUCCESS);
    EXPECT_EQ(labelOf('E'), "a");
    EXPECT_THAT(labelOf('B'), StartsWith("folder"));
    EXPECT_EQ(deviceOf('E'), "ZL|GLIMMERBOX 539");
    ASSERT_EQ(mountedCards().size(), 2u);
    EXPECT_EQ(mountedCards()[1].folder, pathText(folder));

    std::pair<CardMount, DWORD> rows[] = {
        {cardOf(folder, u'E'), ERROR_ALREADY_EXISTS},
        {cardOf(folder, u'A'), ERROR_INVALID_DRIVE},
        {cardOf(folder, u'Z'), ERROR_INVALID_DRIVE},
        {cardOf(folder / "none"), ERROR_DIRECTORY},
        {cardOf(""), ERROR_DIRECTORY},
        {cardOf(folder, 0, std::u16string(33, u'x')), ERROR_INVALID_PARAMETER},
    };
    for (auto& [mount, error] : rows) EXPECT_EQ(errorOf(mountCard(mount)), error);

    fs::remove_all(folder);
    EXPECT_EQ(drives(), "BEZ");
    EXPECT_EQ(GetDriveTypeW(u"E:\\"), DRIVE_REMOVABLE);
    EXPECT_EQ(labelOf('E'), "(21)");
    EXPECT_TRUE(unmountCard(u'B'));

    WCHAR buffer[9];
    EXPECT_EQ(GetLogicalDriveStringsW(8, buffer), 9u);
    EXPECT_EQ(GetLogicalDriveStringsW(0, nullptr), 9u);
    EXPECT_EQ(GetLogicalDriveStringsW(9, buffer), 8u);
    EXPECT_EQ(std::u16string_view(buffer, 9), std::u16string_view(u"E:\\\0Z:\\\0", 9));
    EXPECT_TRUE(unmountCard(u'e'));
    EXPECT_EQ(errorOf(unmountCard(u'E')), ERROR_INVALID_DRIVE);
    EXPECT_EQ(drives(), "Z");
}

TEST(Drives, KeepTheirLettersWhileTheyAreThere) {
    FakeSystem system;
    system.addDisk("sdb", "9", true);
    system.addDisk("sdc", "10", true);
    EXPECT_EQ(labels(), "B (21), C (21)");
    // A card takes the letter of its reader, whatever is free by then.
    system.removeDisk("sdb");
    const std::string first = system.mount("10:1").filename();
    EXPECT_EQ(labels(), "C " + first);
    system.addDisk("sda", "8", true);
    const fs::path second = system.mount("10:2");
    const std::string label = second.filename();
    EXPECT_EQ(labels(), "B (21), C " + first + ", D " + label);
    // The first medium goes, and another reader comes.
    system.unmountAll();
    system.mount("10:2", second);
    system.addDisk("sdd", "11", true);
    EXPECT_EQ(labels(), "B (21), C (21), D " + label);
    system.unmountAll();  // the reader's again
    EXPECT_EQ(labels(), "B (21), C (21), D (21)");

    // A user's letter wins, and the medium that is mounted there isn't a second card.
    const fs::path card = system.mount("8:1");
    CardMount mount = cardOf(card, u'X');
    ASSERT_TRUE(mountCard(mount));
    EXPECT_EQ(drives(), "CDXZ");
    CardMount taken = cardOf(newFolder(), u'D');
    EXPECT_EQ(errorOf(mountCard(taken)), ERROR_ALREADY_EXISTS);
}

TEST(Drives, ListingSurvivesABrokenTableAndWritesNoSettings) {
    FakeSystem system;
    system.addDisk("sdb", "9", true);
    const fs::path table = machineRoot() / "run/drive-letters";
    EXPECT_EQ(drives(), "BZ");
    writeFile(table, "\xFF Z sdb sdb\nB sdb");
    writeFile(table.string() + ".new", std::string(10'000, 'x'));
    EXPECT_EQ(drives(), "BZ");
    EXPECT_EQ(readFile(table), "B sdb sdb\n");
    EXPECT_EQ(tryOpen(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform\\Mounts"),
              ERROR_FILE_NOT_FOUND);
}

ZLK_CHILD(listsDrives) {
    FakeSystem::use(child.arguments[0]);
    child.say("ready");
    while (!child.hear().empty()) {
        std::string line = drives();
        for (const char letter : line) line += labelOf(letter) + deviceOf(letter);
        child.say(line);
    }
    return 0;
}

TEST(Drives, HaveTheSameLettersInAllProcesses) {
    FakeSystem system;
    const std::vector<std::string> arguments{system.top.string()};
    ChildProcess a("listsDrives", arguments), b("listsDrives", arguments);
    for (ChildProcess* child : {&a, &b}) ASSERT_EQ(child->hear(), "ready");
    for (int round = 0; round < 8; ++round) {
        const std::string number = std::to_string(9 + round);
        const std::string name = {'s', 'd', static_cast<char>('k' - round)};
        system.addDisk(name, number, true);
        system.mount(number + ":1");
        for (ChildProcess* child : {&a, &b}) child->say("list");
        const std::string line = a.hear();
        EXPECT_EQ(line.find('Z'), static_cast<std::size_t>(round) + 1);
        EXPECT_EQ(b.hear(), line);
    }
}

TEST(Shares, AnswerWhereTheyAreMounted) {
    FakeSystem system;
    const fs::path cifs = system.mount("0:50", "", "//Filer/Cards\\040One", "cifs");
    const fs::path nfs = system.mount("0:51", "", "[fe80::1]:/export", "nfs4");
    const fs::path inner = system.mount("0:52", "", "[fe80::1]:/export/inner", "nfs4");
    writeFile(cifs / "Pict.jpg", "cifs");
    writeFile(nfs / "a", "nfs");
    writeFile(inner / "b", "inner");
    fs::create_symlink("/etc/passwd", cifs / "passwd");
    FileStatus status;
    for (const WCHAR* path : {u"\\\\Filer\\Cards One\\Pict.jpg", u"\\\\FILER\\CARDS ONE\\PICT.JPG",
                              u"\\\\[fe80::1]\\export\\a", u"\\\\[fe80::1]\\export\\inner\\b"})
        EXPECT_TRUE(_wstat64i32(path, status)) << utf8Text(path);
    EXPECT_EQ(GetFileAttributesW(u"\\\\filer\\cards one"), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_FALSE(_wstat64i32(u"\\\\filer\\cards one\\passwd", status));
    for (const WCHAR* path : {u"\\\\filer", u"\\\\filer\\others\\x", u"\\\\"})
        EXPECT_EQ(errorOf(_wstat64i32(path, status)), ERROR_PATH_NOT_FOUND) << utf8Text(path);
    EXPECT_EQ(drives(), "Z");
}

}  // namespace
}  // namespace zlk::test
