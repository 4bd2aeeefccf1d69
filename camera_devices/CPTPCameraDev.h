#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "camera_devices/CImageDev.h"
#include "directory/CCamInfo.h"
#include "foundation/FileTimestamp.h"
#include "ptp/PtpInterface.h"

namespace zlk {

/// A camera on USB that speaks PTP. To it a camera is a flat list of objects, among them the
/// documents, which are known by their names.
///
/// A file id is the object's handle as a signed decimal number. Nothing keeps it to the object: a
/// handle that the camera has given to another one leads to that.
///
/// A camera that vanishes shows in CheckConnection, for good: the object stays bound to the port
/// that it found first. Whoever holds it drops it then, and makes a new one.
class CPTPCameraDev : public CImageDev {
  public:
    /// `lowLevelId` holds `VID_xxxx` and `&PID_xxxx` in any case; `contextId` leads to the port.
    /// Nothing is looked for yet.
    CPTPCameraDev(const std::u16string& lowLevelId, std::u16string contextId);
    /// Leaves the session open: whoever comes next goes on in it.
    ~CPTPCameraDev() override;
    CPTPCameraDev(const CPTPCameraDev&) = delete;
    CPTPCameraDev& operator=(const CPTPCameraDev&) = delete;

    /// Connects at the first time that the camera is there. Only cameras of the table with the
    /// protocol PTP are.
    bool CheckConnection() override;

    /// Needs a CheckConnection before. Any failure of the camera and a stop are ReadFailed, with
    /// the records so far in the list. Folders aren't listed. An object that a camera of another
    /// maker lists and refuses to describe is there as `DCIM\object <handle>.refused`, of 0 bytes.
    DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) override;
    DeviceCode DeleteFile(std::u16string id) override;
    /// Up to 20 MiB in one piece, which can't be stopped, above that in chunks. Copies as many
    /// bytes as the object's info says. Fewer from the camera, or more, are ReadFailed; a file on
    /// this machine that doesn't take them is PcFileUnusable. From a camera of another maker that
    /// gives no pieces, up to 255 MiB come in one; more is NotSupported.
    DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                       HANDLE target) override;
    /// The stock picture where the camera has no thumbnail or doesn't deliver it whole. One of
    /// more than 16 MiB is OutOfMemory. A file that can't be made or written is PcFileUnusable.
    DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) override;

    /// Documents: a file that the camera hasn't got reads as the empty text, one of more than
    /// 16 MiB as OutOfMemory. The print order and the intent are those that the last GetFileInfo
    /// saw; they can only be deleted, any other text is NotSupported.
    DeviceCode GetDpofFile(std::u16string& text) override;
    DeviceCode PutDpofFile(std::u16string text) override;
    DeviceCode GetIntentFile(std::u16string& text) override;
    DeviceCode PutIntentFile(std::u16string text) override;
    /// The share menu, the tag list and the clock are looked for on the camera by each call. A
    /// camera of the table that doesn't take the share menu gives NotSupported for menu, tag list
    /// and clock, and empty texts for the two below.
    ///
    /// A menu or tag list is sent with blanks behind it; where that has more than 204,800 bytes in
    /// UTF-8 it is WriteFailed and nothing is sent.
    DeviceCode GetShareMenu(std::u16string& text) override;
    DeviceCode PutShareMenu(std::u16string text) override;
    DeviceCode GetTagMenu(std::u16string& text) override;
    DeviceCode PutTagMenu(std::u16string text) override;
    DeviceCode GetDeviceID(std::u16string& text) override;
    DeviceCode GetCameraDiagnostic(std::u16string& text) override;
    bool CheckForRequestConfigFile() override;
    bool CheckForRequestTagSetupFile() override;

    /// A time that the camera tells in a way that can't be read is this machine's.
    DeviceCode GetDeviceTime(std::u16string& text) override;
    DeviceCode PutDeviceTime(std::u16string text) override;

    /// UnloadDone and ConfigDone end the session; this object doesn't open another.
    bool SendSpecialMsg(CameraMessage message) override;
    /// Neither question has an answer on this kind of device.
    bool IsCardInserted(bool& inserted) override;
    bool SetRecursion(bool enabled) override;

  protected:
    // What tests put something else in the place of.
    virtual std::u16string findCameraPortinRegistry();
    virtual std::unique_ptr<PtpInterface> createDriver(const std::u16string& path);

  private:
    using HandleField = std::uint32_t CPTPCameraDev::*;

    // Connection
    bool FindAndOpenPort();
    bool InstantiateConnection(const std::u16string& port);
    bool OpenCameraSession();
    bool VerifyConnection();
    static std::int32_t GetPortNumberFromString(const std::u16string& port);
    /// The table knows that this camera takes neither menus nor messages; one that it doesn't know
    /// is simply tried.
    bool shareBlocked() const { return camInfo.valid && !camInfo.SwiftPostSupport; }

    // Enumeration
    bool GetFilesAndDirs(FileInfoList& list, ObjectProgressInterface* progress);
    void listStorage(std::uint32_t storage, FileInfoList& list, ObjectProgressInterface* progress);
    void listObject(std::uint32_t handle, const ObjectInfoDataset& info, FileInfoList& list);
    void listRefused(std::uint32_t handle, PTPCommErrors why, FileInfoList& list);
    bool EnumXMLFiles();
    void LookForShareMenuFiles(std::uint32_t handle, const ObjectInfoDataset& info);
    static std::uint32_t handleFromId(const std::u16string& id);
    static FileTimestamp ptpDateToTime(std::u16string_view text);

    // Transfers
    DeviceCode GetLargeFile(const std::u16string& id, ObjectProgressInterface* progress,
                            HANDLE target);
    DeviceCode copyInOnePiece(std::uint32_t handle, std::uint32_t size,
                              ObjectProgressInterface* progress, HANDLE target);
    bool refusesPieces(std::uint32_t handle, BYTE* piece);
    bool fetchThumbnail(std::uint32_t handle, BYTE* buffer, std::uint32_t size);
    DeviceCode DeleteFile(std::uint32_t handle);

    // Documents
    struct Menu;  // how one of the two goes to the camera
    DeviceCode readXmlFile(DeviceCode blocked, HandleField handle, const char* reader,
                           std::u16string& text);
    DeviceCode readDocument(const char* reader, std::uint32_t handle, std::u16string& text);
    DeviceCode deleteDocument(std::uint32_t handle, const std::u16string& text);
    DeviceCode sendMenu(const Menu& menu, std::u16string text);
    bool requestFileExists(HandleField handle);

    std::unique_ptr<PtpInterface> ptp;  // null: not connected
    // The largest that GetFile copied in one piece, kept for the next: to get as many pages of
    // memory from the kernel each time costs as much as the copying.
    std::vector<BYTE> picture;

    // Handles of the documents that the last walk saw, 0 for none: of GetFilesAndDirs() the first
    // two, of EnumXMLFiles() the others.
    std::uint32_t dpofHandle = 0;
    std::uint32_t intentHandle = 0;
    std::uint32_t deviceIdHandle = 0;
    std::uint32_t diagnosticHandle = 0;
    std::uint32_t shareRequestHandle = 0;
    std::uint32_t shareOldHandle = 0;
    std::uint32_t tagRequestHandle = 0;
    std::uint32_t tagOldHandle = 0;
    std::uint32_t menuFolderHandle = 0;  // where new menus go; 0: the camera decides

    std::uint16_t vid = 0;
    std::uint16_t pid = 0;
    CCamInfo camInfo;
    std::u16string contextId;
};

}  // namespace zlk
