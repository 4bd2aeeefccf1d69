#pragma once
// A camera on USB that is used through PTP.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "camera_devices/CImageDev.h"
#include "directory/CCamInfo.h"
#include "foundation/FileTimestamp.h"
#include "ptp/PtpInterface.h"

namespace zlk {

/// Reaches the files and documents of one camera. The files of all folders are given as one flat
/// list. Documents are objects like the files, and are recognised by their names.
///
/// A file id is the object's handle as a signed decimal number. A camera may give the handle of a
/// deleted object to a new one, to which the id then leads.
///
/// A CPTPCameraDev that has connected stays bound to the port that it found. If CheckConnection()
/// then returns false, the owner should destroy the CPTPCameraDev and make a new one.
class CPTPCameraDev : public CImageDev {
  public:
    /// `lowLevelId` contains `VID_xxxx` and `&PID_xxxx`, in upper or lower case. CheckConnection()
    /// looks the port up by `contextId`.
    CPTPCameraDev(const std::u16string& lowLevelId, std::u16string contextId);
    /// Leaves the session open, since the next user goes on in it.
    ~CPTPCameraDev() override;
    CPTPCameraDev(const CPTPCameraDev&) = delete;
    CPTPCameraDev& operator=(const CPTPCameraDev&) = delete;

    /// Connects if this object isn't connected yet. Only cameras that are in the camera table, with
    /// the protocol PTP, are accepted.
    bool CheckConnection() override;

    /// NotConnected if the camera isn't connected; only CheckConnection() connects it. Any other
    /// failure of the camera, and a stop, give ReadFailed; the list has the records so far. Folders
    /// aren't listed. If a camera of another maker refuses to describe an object, that object is
    /// listed as `DCIM\object <handle>.refused`, with 0 bytes.
    DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) override;
    DeviceCode DeleteFile(std::u16string id) override;
    /// A file of up to 20 MiB is copied in one piece, which can't be stopped, and a larger one in
    /// chunks. ReadFailed if the camera sends more or fewer bytes than the object's info says;
    /// PcFileUnusable if the target can't be written. If a camera of another maker doesn't support
    /// partial reads, a file of up to 255 MiB is copied in one piece, and a larger one gives
    /// NotSupported.
    DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                       HANDLE target) override;
    /// Writes a stock picture if the camera has no thumbnail or doesn't send all of it.
    /// OutOfMemory for a thumbnail of more than 16 MiB; PcFileUnusable if `fileName` can't be
    /// written.
    DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) override;

    /// A document that the camera doesn't have reads as an empty text; one of more than 16 MiB
    /// gives OutOfMemory. The print order and the intent are those that the last GetFileInfo()
    /// found. Putting an empty text deletes the document in question; but if the camera table says
    /// that the model keeps print order and intent, nothing is done and the result is Success.
    /// Putting any other text gives NotSupported. If the camera table doesn't say that the camera
    /// supports the share menu, the intent reads as an empty text.
    DeviceCode GetDpofFile(std::u16string& text) override;
    DeviceCode PutDpofFile(std::u16string text) override;
    DeviceCode GetIntentFile(std::u16string& text) override;
    DeviceCode PutIntentFile(std::u16string text) override;
    /// Each of these calls looks the documents up on the camera anew. If the camera table says that
    /// the camera doesn't support the share menu, then the share menu, the tag list and the clock
    /// give NotSupported, and GetDeviceID() and GetCameraDiagnostic() give an empty text.
    ///
    /// Up to 21 blanks are sent after a menu or tag list, even after an empty text. If text and
    /// blanks have more than 204,800 bytes in UTF-8, the result is WriteFailed and nothing is sent.
    DeviceCode GetShareMenu(std::u16string& text) override;
    DeviceCode PutShareMenu(std::u16string text) override;
    DeviceCode GetTagMenu(std::u16string& text) override;
    DeviceCode PutTagMenu(std::u16string text) override;
    DeviceCode GetDeviceID(std::u16string& text) override;
    DeviceCode GetCameraDiagnostic(std::u16string& text) override;
    bool CheckForRequestConfigFile() override;
    bool CheckForRequestTagSetupFile() override;

    /// If what the camera sends is no valid time, the result is this machine's time. The model 368,
    /// whose clock can only be set, gives NotSupported.
    DeviceCode GetDeviceTime(std::u16string& text) override;
    DeviceCode PutDeviceTime(std::u16string text) override;

    /// If the camera has taken UnloadDone or ConfigDone, the session is closed, and this object
    /// doesn't open another one.
    bool SendSpecialMsg(CameraMessage message) override;
    /// This kind of device supports neither of these two calls: they return false.
    bool IsCardInserted(bool& inserted) override;
    bool SetRecursion(bool enabled) override;

  protected:
    // Replaced in tests.
    virtual std::u16string findCameraPortinRegistry();
    virtual std::unique_ptr<PtpInterface> createDriver(const std::u16string& path);

  private:
    using HandleField = std::uint32_t CPTPCameraDev::*;

    // Connection
    /// Finds the camera's port, connects and opens a session. False, with nothing connected, on
    /// failure.
    bool FindAndOpenPort();
    bool InstantiateConnection(const std::u16string& port);
    bool OpenCameraSession();
    /// Whether this object is connected and the driver finds the expected camera. Doesn't connect.
    bool VerifyConnection();
    static std::int32_t GetPortNumberFromString(const std::u16string& port);
    /// Whether the camera table says that this camera doesn't support the share menu.
    bool shareBlocked() const { return camInfo.valid && !camInfo.SwiftPostSupport; }

    // Enumeration
    /// The walk for the list of files; it also notes the handles of print order and intent.
    bool GetFilesAndDirs(FileInfoList& list, ObjectProgressInterface* progress);
    void listStorage(std::uint32_t storage, FileInfoList& list, ObjectProgressInterface* progress);
    void listObject(std::uint32_t handle, const ObjectInfoDataset& info, FileInfoList& list);
    void listRefused(std::uint32_t handle, PTPCommErrors why, FileInfoList& list);
    /// Notes the handles of all documents but print order and intent. Returns false on failure. If
    /// shareBlocked(), this does nothing and returns true.
    bool EnumXMLFiles();
    void LookForShareMenuFiles(std::uint32_t handle, const ObjectInfoDataset& info);
    static std::uint32_t handleFromId(const std::u16string& id);
    static FileTimestamp ptpDateToTime(std::u16string_view text);

    // Transfers and deletion
    DeviceCode GetLargeFile(const std::u16string& id, ObjectProgressInterface* progress,
                            HANDLE target);
    DeviceCode copyInOnePiece(std::uint32_t handle, std::uint32_t size,
                              ObjectProgressInterface* progress, HANDLE target);
    /// Whether the camera doesn't support partial reads. `piece` gets the first chunk.
    bool refusesPieces(std::uint32_t handle, BYTE* piece);
    bool fetchThumbnail(std::uint32_t handle, BYTE* buffer, std::uint32_t size);
    DeviceCode DeleteFile(std::uint32_t handle);

    // Documents
    struct Menu;  // how a menu or a tag list is sent
    /// Finds and reads one of the documents of EnumXMLFiles(). The result is `blocked` if
    /// shareBlocked().
    DeviceCode readXmlFile(DeviceCode blocked, HandleField handle, const char* reader,
                           std::u16string& text);
    /// Reads the object as a text; an empty text for handle 0.
    DeviceCode readDocument(const char* reader, std::uint32_t handle, std::u16string& text);
    DeviceCode deleteDocument(std::uint32_t handle, const std::u16string& text);
    DeviceCode sendMenu(const Menu& menu, std::u16string text);
    bool requestFileExists(HandleField handle);

    std::unique_ptr<PtpInterface> ptp;  // null: not connected
    // The buffer of copyInOnePiece(), kept for the next file, since allocating it takes time.
    std::vector<BYTE> picture;

    // Handles of the documents; 0 for a document that wasn't found. GetFilesAndDirs() sets those of
    // print order and intent, and EnumXMLFiles() sets the others.
    std::uint32_t dpofHandle = 0;
    std::uint32_t intentHandle = 0;
    std::uint32_t deviceIdHandle = 0;
    std::uint32_t diagnosticHandle = 0;
    std::uint32_t shareRequestHandle = 0;
    std::uint32_t shareOldHandle = 0;
    std::uint32_t tagRequestHandle = 0;
    std::uint32_t tagOldHandle = 0;
    std::uint32_t menuFolderHandle = 0;  // where new menus belong; 0: the camera decides

    // USB ids of the camera; 0 if the low-level id has none, or if no driver could be made.
    std::uint16_t vid = 0;
    std::uint16_t pid = 0;
    CCamInfo camInfo;
    std::u16string contextId;
};

}  // namespace zlk
