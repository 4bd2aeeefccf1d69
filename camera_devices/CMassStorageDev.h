#pragma once
// A camera, memory card or disc that is reached as a drive or a network path.

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

/// Reaches the files and documents of one drive or network path. The files may lie in any folder,
/// and the documents lie in the folder MISC below the root.
///
/// A file id is the full path of a file below the device's root. Ids that lead anywhere else are
/// refused, since applications delete files by these ids.
class CMassStorageDev final : public CImageDev {
  public:
    /// `lowLevelId` is a drive root or a network path, in upper case. Nothing is checked yet; a
    /// missing device is noticed by CheckConnection().
    CMassStorageDev(std::u16string lowLevelId, std::u16string contextId);
    /// Flushes the drive, and blocks meanwhile, if a write or deletion was tried since the last
    /// flush. Network paths aren't flushed.
    ~CMassStorageDev() override;
    CMassStorageDev(const CMassStorageDev&) = delete;
    CMassStorageDev& operator=(const CMassStorageDev&) = delete;

    /// Whether the drive exists, even without a card (see IsCardInserted()), or the network path
    /// leads to a folder.
    bool CheckConnection() override;

    /// Waits for a second and walks the volume. As long as no file is found, this is repeated, at
    /// most as many times as the settings give for the device's product class (10 if they give
    /// none, 600 at most). Hidden files are left out, and so are folders that can't be read. Of
    /// each size only the low 32 bits are given.
    DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) override;
    DeviceCode DeleteFile(std::u16string id) override;
    /// Waits for up to 20 seconds if the file can't be opened. A file that shrinks while it is
    /// copied gives ReadFailed, and so does a target that can't be written. A file that grows is
    /// copied in the size that it had at the start. Of a file of 4 GiB or more, only as many bytes
    /// are copied as the low 32 bits of its size say.
    DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                       HANDLE target) override;
    DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) override;

    /// Reading any document of more than 16 MiB gives OutOfMemory.
    DeviceCode GetDpofFile(std::u16string& text) override;
    DeviceCode PutDpofFile(std::u16string text) override;
    DeviceCode GetIntentFile(std::u16string& text) override;
    DeviceCode PutIntentFile(std::u16string text) override;
    /// Putting a menu or tag list of 204,800 bytes or more in UTF-8 gives WriteFailed, and the file
    /// that was put before stays.
    DeviceCode GetShareMenu(std::u16string& text) override;
    DeviceCode PutShareMenu(std::u16string text) override;
    DeviceCode GetTagMenu(std::u16string& text) override;
    DeviceCode PutTagMenu(std::u16string text) override;
    DeviceCode GetDeviceID(std::u16string& text) override;
    /// NotSupported for a device that isn't in the camera table.
    DeviceCode GetCameraDiagnostic(std::u16string& text) override;
    bool CheckForRequestConfigFile() override;
    bool CheckForRequestTagSetupFile() override;

    /// NotSupported, since a volume has no clock.
    DeviceCode GetDeviceTime(std::u16string& text) override;
    DeviceCode PutDeviceTime(std::u16string text) override;

    /// True if the writing of the message file was tried, whether or not it succeeded. False, among
    /// others, if the camera table doesn't say that the camera supports the share menu, and for
    /// UnloadError and ConfigError, which aren't used on volumes.
    bool SendSpecialMsg(CameraMessage message) override;
    bool IsCardInserted(bool& inserted) override;
    bool SetRecursion(bool enabled) override;

  private:
    // Connection and listing
    bool CheckConnectionUNC();
    /// Asks the card reader component.
    bool AIO_IsCardInserted();
    /// Lists the files in a folder and, if `recurse` is set, in the folders below it.
    void RecurseFolders(const std::u16string& path, FileInfoList& list,
                        ObjectProgressInterface* progress);
    void addRecord(const std::u16string& path, const WIN32_FIND_DATAW& entry, FileInfoList& list);
    /// Counts a file and reports progress. Sets `cancelled` if the receiver asks for a stop.
    void reportFile(ObjectProgressInterface* progress);

    // Transfers and deletion
    /// Whether the id is a path below the device's root. Steps upwards and zeros are refused.
    bool isOwnFile(std::u16string_view id) const;

    // Documents
    /// Writes a document's text: writeNarrowFile(), or writeUtf8File(), which adds a terminating
    /// zero and limits the size.
    using Writer = DeviceCode (CMassStorageDev::*)(const std::u16string& path,
                                                   const std::u16string& text);
    /// The path of a document in the folder MISC.
    std::u16string specialFilePath(const WCHAR* name) const;
    DeviceCode readDocument(const WCHAR* name, UINT codePage, std::u16string& text) const;
    DeviceCode putDocument(const WCHAR* name, const std::u16string& text, Writer writer);
    DeviceCode writeNarrowFile(const std::u16string& path, const std::u16string& text);
    DeviceCode writeUtf8File(const std::u16string& path, const std::u16string& text);
    bool WriteBufToFile(const void* buffer, DWORD length, const std::u16string& path);
    bool requestFileExists(const char* operation, const WCHAR* name) const;

    std::u16string driveRoot;  // `E:\`; empty for a network path
    std::u16string uncPath;    // empty for a drive
    std::u16string rootPath;   // where the walk begins; without a trailing backslash
    std::u16string contextId;
    bool wroteToVolume = false;  // a write or deletion was tried since the last flush
    std::int32_t fileCount = 0;  // files reported in this pass, counted up to 100
    CCamInfo camInfo;
    std::u16string checkMediaMethod;
    std::int32_t enumTimeout = 0;   // how many more passes a volume without files gets
    bool cancelled = false;         // a progress report has asked for a stop
    bool recurse = true;            // whether listings go into subfolders
    ComPtr<ICardReader> aioDevice;  // made when it is first needed
    // Set at the end of the constructor, so that its trace lines come after the constructor's own.
    std::optional<ThumbnailLibrary> thumbnails;
};

}  // namespace zlk
