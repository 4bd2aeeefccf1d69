#pragma once
// The interface of a camera, card or disc, as the device objects use it.

#include <cstdint>
#include <string>

#include "foundation/ObjectProgressInterface.h"
#include "platform/types.h"

namespace zlk {

class FileInfoList;

/// Results of device operations. Applications read these numbers from ErrorCode.
enum class DeviceCode : std::int32_t {
    Success = 0,
    Held = 2,            ///< among others: another object holds the device
    NotLocked = 3,       ///< this object doesn't hold a device
    ReadFailed = 4,      ///< among others: reading failed, or the file isn't there
    WriteFailed = 5,     ///< among others: writing failed, or a document is too long
    PcFileUnusable = 6,  ///< a file on this machine can't be used
    NotSupported = 8,
    NotConnected = 9,
    DeleteRefused = 10,
    OutOfMemory = 12,  ///< among others: no memory, or too large a document to be read
};

/// Tells a camera where a dialogue stands. Cameras know the messages by these numbers.
enum class CameraMessage : std::int32_t {
    UnloadStart = 1,
    UnloadDone = 2,
    UnloadCancel = 3,
    UnloadError = 4,
    ConfigStart = 101,
    ConfigDone = 102,
    ConfigCancel = 103,
    ConfigError = 104,
    TagStart = 201,
    TagDone = 202,
    TagCancel = 203,
};

/// What applications can do with one device. For one thread at a time. CheckConnection() must have
/// returned true before any other operation is called. The device may vanish at any moment, even
/// during an operation. Text results are cleared first and stay empty on failure. No exception
/// leaves an operation.
class CImageDev {
  public:
    virtual ~CImageDev() = default;

    /// Whether the device is there, as far as is known. May connect to it.
    virtual bool CheckConnection() = 0;

    /// Adds the records of the device's files to `list`. `progress` may be null.
    virtual DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) = 0;
    virtual DeviceCode DeleteFile(std::u16string id) = 0;

    /// Copies the file's contents to the current position of `target`, an open file that stays the
    /// caller's. `progress` may be null. If a progress report stops the copying, the result is
    /// Success, and `target` has the bytes that were written until then.
    virtual DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                               HANDLE target) = 0;
    /// Writes a thumbnail of the file to the path `fileName`, where it replaces an existing file.
    virtual DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) = 0;

    /// The documents that belong to the pictures: print order, intent and share menu. Putting an
    /// empty text deletes the print order or the intent, except on the PTP cameras that keep them.
    virtual DeviceCode GetDpofFile(std::u16string& text) = 0;
    virtual DeviceCode PutDpofFile(std::u16string text) = 0;
    virtual DeviceCode GetIntentFile(std::u16string& text) = 0;
    virtual DeviceCode PutIntentFile(std::u16string text) = 0;
    virtual DeviceCode GetShareMenu(std::u16string& text) = 0;
    virtual DeviceCode PutShareMenu(std::u16string text) = 0;

    /// The device's clock, as a document with the element `time`.
    virtual DeviceCode GetDeviceTime(std::u16string& text) = 0;
    virtual DeviceCode PutDeviceTime(std::u16string text) = 0;

    /// Documents in which the device describes itself.
    virtual DeviceCode GetDeviceID(std::u16string& text) = 0;
    virtual DeviceCode GetCameraDiagnostic(std::u16string& text) = 0;

    /// Sends a message to the camera. False, among others, if the camera isn't connected or takes
    /// no such message.
    virtual bool SendSpecialMsg(CameraMessage message) = 0;
    /// Whether the device requests a new share menu.
    virtual bool CheckForRequestConfigFile() = 0;
    /// False if this kind of device can't tell; `inserted` is unchanged then.
    virtual bool IsCardInserted(bool& inserted) = 0;
    /// Sets whether listings go into subfolders. False if this kind of device has no such switch.
    virtual bool SetRecursion(bool enabled) = 0;

    /// The tag list, a document like the share menu.
    virtual DeviceCode GetTagMenu(std::u16string& text) = 0;
    virtual DeviceCode PutTagMenu(std::u16string text) = 0;
    /// Whether the device requests a new tag list.
    virtual bool CheckForRequestTagSetupFile() = 0;
};

}  // namespace zlk
