#pragma once
// What tests of cards have in common: a folder mounted as a card, a clock that doesn't wait, and
// somebody who listens to progress.

#include <gmock/gmock.h>

#include <functional>
#include <vector>

#include "camera_devices/CMassStorageDev.h"
#include "foundation/Registry.h"
#include "foundation/Xml.h"
#include "platform/card_mounts.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/text.h"
#include "tests/support/Modules.h"

namespace zlk::test {

/// A new folder, mounted as a card for the length of the test.
class Card {
  public:
    explicit Card(const std::u16string& product = u"") : folder(newFolder()) {
        mount_.folder = pathText(folder);
        if (!product.empty()) mount_.vendor = u"ZL";
        mount_.product = product;
        insert();
    }
    ~Card() { remove(); }

    void insert() { ASSERT_TRUE(mountCard(mount_)) << GetLastError(); }
    void remove() { unmountCard(mount_.letter); }

    std::u16string root() const { return {mount_.letter, u':', u'\\'}; }
    std::u16string id(const std::u16string& relative) const { return root() + relative; }
    std::u16string contextId() const {
        return u"#Zephyr-Lanthorn#RemovableDrive#" + std::u16string(1, mount_.letter);
    }
    void write(const std::filesystem::path& relative, const std::string& bytes) const {
        create_directories((folder / relative).parent_path());
        writeFile(folder / relative, bytes);
    }

    const std::filesystem::path folder;

  private:
    CardMount mount_;
};

/// The model whose cameras take the share menu.
inline const std::u16string shareCameraId = u"#Zephyr-Lanthorn#Cam283#0000";

/// Sleep moves this clock on at once.
class FastClock {
  public:
    FastClock() {
        now = 10'000;
        pauses.clear();
        duringPause = nullptr;
        setTestClock({[] { return now; },
                      [](DWORD milliseconds) {
                          now += milliseconds;
                          pauses.push_back(milliseconds);
                          if (duringPause) duringPause(pauses.size());
                      }});
    }
    ~FastClock() { setTestClock({}); }

    static inline DWORD now;
    static inline std::vector<DWORD> pauses;
    static inline std::function<void(std::size_t number)> duringPause;  ///< numbers from 1
};

/// Keeps the reports; stops at the one of number `stopAt` (from 1).
struct Reports final : ObjectProgressInterface {
    bool reportProgress(std::int32_t percent) override {
        percents.push_back(percent);
        if (during) during(percents.size());
        return percents.size() != stopAt;
    }
    std::vector<std::int32_t> percents;
    std::size_t stopAt = 0;
    std::function<void(std::size_t number)> during;
};

/// One child of each record of a `fileInfo` document.
inline std::vector<std::u16string> column(const std::u16string& xml, const std::u16string& child) {
    XmlDocument document;
    EXPECT_TRUE(document.load(xml));
    std::vector<std::u16string> values;
    std::u16string value;
    while (document.value(formatText(u"fileInfo/file[%d]/%s", values.size(), child), value))
        values.push_back(value);
    return values;
}

/// A file of this machine to be copied to.
class Target {
  public:
    explicit Target(DWORD access = GENERIC_WRITE) {
        writeFile(path, "");
        handle = UniqueHandle(CreateFileW(pathText(path).c_str(), access, 0, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    std::string bytes() const { return readFile(path); }

    const std::filesystem::path path = newFolder() / "copy";
    UniqueHandle handle;
};

using Copy = std::pair<DeviceCode, std::string>;

/// The code of copying a file, and what the target then holds.
inline Copy copyOf(CImageDev& device, const std::u16string& id,
                   ObjectProgressInterface* listener = nullptr) {
    const Target target;
    const DeviceCode code = device.GetFile(id, listener, target.handle.get());
    return {code, target.bytes()};
}

/// What a device lists, where that ends with this code.
inline std::u16string listingOf(CImageDev& device, ObjectProgressInterface* listener = nullptr,
                                DeviceCode code = DeviceCode::Success) {
    FileInfoList files;
    EXPECT_EQ(device.GetFileInfo(files, listener), code);
    return files.getXml();
}

/// A card and a device that works on it.
class CardTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { registerModules(); }

    std::vector<std::u16string> idsListed() { return column(listingOf(device, listener), u"id"); }
    Copy copy(const std::u16string& id) { return copyOf(device, id, listener); }

    FastClock clock;
    Reports reports;
    ObjectProgressInterface* listener = &reports;
    Card card;
    CMassStorageDev device{card.root(), card.contextId()};
};

}  // namespace zlk::test
