#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "camera_devices/CImageDev.h"
#include "camera_devices/FileInfoList.h"
#include "camera_devices/ThumbnailLibrary.h"
#include "directory/CCamInfo.h"
#include "foundation/FileTimestamp.h"
#include "interfaces/ICardReader.h"

struct WIN32_FIND_DATAW;

namespace zlk {

/// A camera or memory card that shows up as a volume: a drive, or a network path. To it a camera
/// is a tree of folders with a folder MISC for the documents.
///
/// A file id is the full path of a file below the device's root. An id that leads anywhere else
/// is refused: applications delete by these ids.
class CMassStorageDev final : public CImageDev {
  public:
    /// `lowLevelId` is a drive root or a network path, in upper case. A device that isn't there
    /// shows in CheckConnection.
    CMassStorageDev(std::u16string lowLevelId, std::u16string contextId);
    /// Returns when what was written is on the card. Network paths aren't flushed.
    ~CMassStorageDev() override;
    CMassStorageDev(const CMassStorageDev&) = delete;
    CMassStorageDev& operator=(const CMassStorageDev&) = delete;

    /// A drive without a card passes; see IsCardInserted.
    bool CheckConnection() override;

    /// A volume without a file is walked again each second, up to the time-out of its product
    /// class. What can't be read is left out; sizes have 32 bits.
    DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) override;
    DeviceCode DeleteFile(std::u16string id) override;
    /// Waits up to 20 seconds for a file that can't be opened. A file that shrinks meanwhile is
    /// ReadFailed, one that grows is copied to the size that it had.
    DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                       HANDLE target) override;
    DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) override;

    /// Documents: a file of more than 16 MiB reads as OutOfMemory.
    DeviceCode GetDpofFile(std::u16string& text) override;
    DeviceCode PutDpofFile(std::u16string text) override;
    DeviceCode GetIntentFile(std::u16string& text) override;
    DeviceCode PutIntentFile(std::u16string text) override;
    /// A menu or tag list of 204,800 bytes or more is WriteFailed, and the old one stays.
    DeviceCode GetShareMenu(std::u16string& text) override;
    DeviceCode PutShareMenu(std::u16string text) override;
    DeviceCode GetTagMenu(std::u16string& text) override;
    DeviceCode PutTagMenu(std::u16string text) override;
    DeviceCode GetDeviceID(std::u16string& text) override;
    /// NotSupported for a camera that isn't in the camera table.
    DeviceCode GetCameraDiagnostic(std::u16string& text) override;
    bool CheckForRequestConfigFile() override;
    bool CheckForRequestTagSetupFile() override;

    /// NotSupported: a volume has no clock.
    DeviceCode GetDeviceTime(std::u16string& text) override;
    DeviceCode PutDeviceTime(std::u16string text) override;

    /// True where a message file was attempted: the camera takes the share menu, is connected,
    /// and knows the message (UnloadError and ConfigError are none of a volume's).
    bool SendSpecialMsg(CameraMessage message) override;
    bool IsCardInserted(bool& inserted) override;
    bool SetRecursion(bool enabled) override;

  private:
    // Connection and listing
    bool CheckConnectionUNC();
    bool AIO_IsCardInserted();
    void RecurseFolders(const std::u16string& path, FileInfoList& list,
                        ObjectProgressInterface* progress);
    void addRecord(const std::u16string& path, const WIN32_FIND_DATAW& entry, FileInfoList& list);
    void reportFile(ObjectProgressInterface* progress);

    // Transfers
    bool isOwnFile(std::u16string_view id) const;

    // Documents
    using Writer = DeviceCode (CMassStorageDev::*)(const std::u16string& path,
                                                   const std::u16string& text);
    std::u16string specialFilePath(const WCHAR* name) const;
    DeviceCode readDocument(const WCHAR* name, UINT codePage, std::u16string& text) const;
    DeviceCode putDocument(const WCHAR* name, const std::u16string& text, Writer writer);
    DeviceCode writeNarrowFile(const std::u16string& path, const std::u16string& text);
    DeviceCode writeUtf8File(const std::u16string& path, const std::u16string& text);
    bool WriteBufToFile(const void* buffer, DWORD length, const std::u16string& path);
    bool requestFileExists(const char* operation, const WCHAR* name) const;

    std::u16string driveRoot;  // `E:\`; empty for a network path
    std::u16string uncPath;    // empty for a drive
    std::u16string rootPath;   // of the walk, without a trailing backslash
    std::u16string contextId;
    bool wroteToVolume = false;  // since the last flush, or tried to
    std::int32_t fileCount = 0;  // reported in this pass, up to 100
    CCamInfo camInfo;
    std::u16string checkMediaMethod;
    std::int32_t enumTimeout = 0;  // further passes over a volume without files
    bool cancelled = false;
    bool recurse = true;
    ComPtr<ICardReader> aioDevice;               // made when it is first asked, kept
    std::optional<ThumbnailLibrary> thumbnails;  // once the rest stands
};

}  // namespace zlk
