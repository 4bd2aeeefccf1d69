#include "device_objects/CUnloadableCamera.h"

#include <limits>

#include "camera_devices/FileInfoList.h"
#include "platform/files.h"
#include "tests/camera_devices/Card.h"
#include "tests/device_objects/ScriptedDevice.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::Return;

/// An application's callback.
class Listener : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;
    HRESULT UpdateProgress(LONG percent) noexcept override {
        percents.push_back(percent);
        if (during) during();
        return answer;
    }
    VARIANT* passed() { return reinterpret_cast<VARIANT*>(static_cast<IProgressCallback*>(this)); }

    std::vector<LONG> percents;
    HRESULT answer = S_OK;
    std::function<void()> during;

  protected:
    ~Listener() = default;
};

class PhotoDevice : public testing::Test {
  protected:
    PhotoDevice() { *listener.out() = new PlainObject<Listener>; }

    /// A transfer that reports these percentages, until it is told to stop.
    auto reporting(std::vector<std::int32_t> percents) {
        return [percents](std::u16string, ObjectProgressInterface* progress, HANDLE) {
            for (const std::int32_t percent : percents)
                if (!progress->reportProgress(percent)) break;
            return DeviceCode::Success;
        };
    }
    /// The code of saving a file.
    LONG save(const std::filesystem::path& path) {
        return camera->codeOf(
            camera->SaveFileData(id.get(), Bstr(pathText(path)).get(), listener->passed()));
    }

    FastClock clock;
    ComPtr<PlainObject<WithDevice<CUnloadableCamera>>> camera = makeObject<CUnloadableCamera>();
    std::shared_ptr<NiceDevice> device = camera->hold();
    ComPtr<PlainObject<Listener>> listener;
    const std::filesystem::path target = newFolder() / "target";
    const Bstr id{u"id"};
};

TEST_F(PhotoDevice, PassesOnOneReportInAQuarterOfASecond) {
    const struct {
        DWORD tick;
        std::int32_t percent;
        bool passedOn;
    } reports[] = {
        {1000, 1, true},          // the first of the object's life
        {1249, 3, false},         //
        {1249, 100, true},        // ends always go through
        {1249, 0, true},          //
        {1498, 99, false},        // and count as reports
        {1499, 99, true},         //
        {1500, -1, true},         //
        {0xFFFFFFF0, 50, true},   //
        {0x000000E9, 51, false},  // 249 ms later, around the wrap
        {0x000000EA, 52, true},   //
    };
    for (const auto& report : reports) {
        EXPECT_CALL(*device, GetFile).WillOnce(reporting({report.percent}));
        FastClock::now = report.tick;
        listener->percents.clear();
        EXPECT_EQ(save(target), 0);
        EXPECT_EQ(listener->percents.size(), report.passedOn) << report.tick;
    }
}

TEST_F(PhotoDevice, AnyAnswerButOkStops) {
    for (const HRESULT answer : {S_FALSE, E_FAIL}) {
        bool wentOn = true;
        EXPECT_CALL(*device, GetFile)
            .WillOnce([&](std::u16string, ObjectProgressInterface* progress, HANDLE) {
                wentOn = progress->reportProgress(100);
                return DeviceCode::Success;
            });
        listener->answer = answer;
        EXPECT_EQ(save(target), 0);
        EXPECT_FALSE(wentOn);
    }
    // Nobody listens outside of a transfer, or where the application passed nobody.
    listener->percents.clear();
    EXPECT_TRUE(camera->reportProgress(100));
    EXPECT_CALL(*device, GetFile).WillOnce(reporting({0, 100}));
    EXPECT_EQ(camera->SaveFileData(id.get(), Bstr(pathText(target)).get(), nullptr), S_OK);
    EXPECT_TRUE(listener->percents.empty());
}

TEST_F(PhotoDevice, SurvivesWhatACallbackDoesToIt) {
    // A transfer inside of a transfer, on the same object.
    EXPECT_CALL(*device, GetFile).WillOnce(reporting({0, 100})).WillOnce(reporting({100}));
    listener->during = [&, nested = false]() mutable {
        if (!std::exchange(nested, true)) save(target.string() + "2");
    };
    EXPECT_EQ(save(target), 0);
    EXPECT_THAT(listener->percents, ElementsAre(0, 100, 100));

    // Unlocking: the device stays until its operation is over.
    std::weak_ptr<NiceDevice> watched = device;
    EXPECT_CALL(*device, GetFile)
        .WillOnce([&](std::u16string, ObjectProgressInterface* progress, HANDLE) {
            progress->reportProgress(100);
            EXPECT_FALSE(watched.expired());
            return DeviceCode::ReadFailed;
        });
    device.reset();
    listener->during = [&] { EXPECT_EQ(camera->UnlockDevice(), S_OK); };
    EXPECT_EQ(save(target), 4);
    EXPECT_TRUE(watched.expired());

    // Dropping the last reference of the object.
    EXPECT_CALL(*camera->hold(), GetFile).WillOnce(reporting({0, 100}));
    auto* bare = camera.get();
    listener->percents.clear();
    listener->during = [&] { camera.reset(); };
    EXPECT_EQ(bare->SaveFileData(id.get(), Bstr(pathText(target)).get(), listener->passed()), S_OK);
    EXPECT_THAT(listener->percents, ElementsAre(0, 100));
}

TEST_F(PhotoDevice, RefusesATargetThatCannotBeUsed) {
    writeFile(target, "held");
    EXPECT_CALL(*device, GetFile).Times(0);
    const std::u16string folder = pathText(target.parent_path());
    const std::u16string unusable[] = {folder + u"\\missing\\file", folder,
                                       pathText(target) + std::u16string(u"\0x", 2), u""};
    const auto expectRefused = [&](const std::u16string& name) {
        EXPECT_EQ(camera->codeOf(camera->SaveFileData(id.get(), Bstr(name).get(), nullptr)), 6)
            << utf8Text(name);
    };
    for (const std::u16string& name : unusable) expectRefused(name);
    const struct {
        DWORD access, share;
    } holders[] = {
        {GENERIC_READ | GENERIC_WRITE, 0}, {GENERIC_READ, 0}, {GENERIC_READ, FILE_SHARE_READ}};
    for (const auto& each : holders) {
        const UniqueHandle holder(CreateFileW(pathText(target).c_str(), each.access, each.share,
                                              nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(holder);
        expectRefused(pathText(target));
    }
    EXPECT_EQ(readFile(target), "held");
}

TEST_F(PhotoDevice, LeavesAPictureAloneThatIsItsOwnTarget) {
    registerModules();
    Card card;
    card.write("DCIM/PICT.JPG", "the only copy");
    const std::filesystem::path picture = card.folder / "DCIM/PICT.JPG";
    const std::filesystem::path elsewhere = newFolder();
    create_hard_link(picture, card.folder / "SECOND.JPG");
    create_symlink("DCIM/PICT.JPG", card.folder / "LINK.JPG");
    create_symlink(card.folder / "DCIM", elsewhere / "way");
    ASSERT_EQ(camera->UnlockDevice(), S_OK);
    ASSERT_EQ(camera->lock(card.contextId()), S_OK);
    const Bstr own(card.id(u"DCIM\\PICT.JPG"));
    for (const std::u16string& name :
         {card.id(u"DCIM\\PICT.JPG"), card.id(u"dcim/pict.jpg"), card.id(u"SECOND.JPG"),
          card.id(u"LINK.JPG"), pathText(picture), pathText(elsewhere / "way/PICT.JPG")}) {
        SCOPED_TRACE(utf8Text(name));
        const Bstr to(name);
        EXPECT_EQ(camera->codeOf(camera->SaveFileData(own.get(), to.get(), nullptr)), 6);
        EXPECT_EQ(camera->codeOf(camera->SaveThumbnail(own.get(), to.get())), 6);
        ASSERT_EQ(readFile(picture), "the only copy");
    }
}

TEST_F(PhotoDevice, ACamerasFileMayGoToAFileOfItsOwnNumber) {
    writeFile(target.parent_path() / "12", "an older picture");
    current_path(target.parent_path());
    EXPECT_CALL(*device, GetFile).WillOnce(Return(DeviceCode::Success));
    EXPECT_EQ(camera->SaveFileData(Bstr(u"12").get(), Bstr(u"12").get(), nullptr), S_OK);
    EXPECT_EQ(readFile("12"), "");
}

TEST_F(PhotoDevice, ReplacesAnExistingTargetAndKeepsItAfterAFailure) {
    writeFile(target, "an older and longer picture");
    EXPECT_CALL(*device, GetFile(std::u16string(u"id"), _, _))
        .WillOnce([](std::u16string, ObjectProgressInterface*, HANDLE file) {
            DWORD written = 0;
            WriteFile(file, "half", 4, &written, nullptr);
            return DeviceCode::ReadFailed;
        });
    EXPECT_EQ(save(target), 4);
    EXPECT_EQ(readFile(target), "half");
}

TEST_F(PhotoDevice, ReportsHowFarAListingIsAndHandsOutWhatABrokenOneFound) {
    registerModules();
    EXPECT_CALL(*device, GetFileInfo)
        .WillOnce([](FileInfoList& list, ObjectProgressInterface* progress) {
            progress->reportProgress(0);
            list.addFile(u"found", u"", u"", 1, FileTimestamp(), FileTimestamp(), u"unknown", u"");
            progress->reportProgress(100);
            return DeviceCode::ReadFailed;
        });
    Bstr xml;
    EXPECT_EQ(camera->codeOf(camera->GetFileInfo(listener->passed(), xml.out())), 4);
    EXPECT_THAT(listener->percents, ElementsAre(0, 100));
    EXPECT_THAT(column(std::u16string(xml.view()), u"id"), ElementsAre(u"found"));
}

}  // namespace
}  // namespace zlk::test
