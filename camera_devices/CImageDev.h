#pragma once
// The abstract device: what the device objects ask of a camera or a card.

#include <cstdint>
#include <string>

#include "foundation/ObjectProgressInterface.h"
#include "platform/types.h"

namespace zlk {

class FileInfoList;

/// Outcomes of device operations, as applications read them from ErrorCode.
enum class DeviceCode : std::int32_t {
    Success = 0,
    Held = 2,            ///< somebody else holds the device
    NotLocked = 3,       ///< this object holds no device
    ReadFailed = 4,      ///< reading from the device failed, or a file of it is absent
    WriteFailed = 5,     ///< writing to the device failed
    PcFileUnusable = 6,  ///< the file on this machine can't be made or written
    NotSupported = 8,
    NotConnected = 9,
    DeleteRefused = 10,
    OutOfMemory = 12,  ///< also: no thumbnail library
};

/// The camera messages, which go to the camera as these numbers.
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

/// One device. Operations are called right after CheckConnection gave true, from one thread; the
/// device may vanish at any moment, which an operation reports as NotConnected or ReadFailed. An
/// out text is emptied first and stays empty on failure. No exception leaves an operation.
class CImageDev {
  public:
    virtual ~CImageDev() = default;

    /// Whether the device can be used now.
    virtual bool CheckConnection() = 0;

    /// Adds a record for each file; `progress` may be null.
    virtual DeviceCode GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) = 0;
    virtual DeviceCode DeleteFile(std::u16string id) = 0;

    /// Copies the whole file to `target`, an open file written at its position; `progress` may be
    /// null. A stop is a success with what was written so far.
    virtual DeviceCode GetFile(std::u16string id, ObjectProgressInterface* progress,
                               HANDLE target) = 0;
    /// Writes a thumbnail to the new file `fileName`.
    virtual DeviceCode GetThumbnail(std::u16string id, std::u16string fileName) = 0;

    /// The documents that go with the pictures; putting the empty text deletes one.
    virtual DeviceCode GetDpofFile(std::u16string& text) = 0;
    virtual DeviceCode PutDpofFile(std::u16string text) = 0;
    virtual DeviceCode GetIntentFile(std::u16string& text) = 0;
    virtual DeviceCode PutIntentFile(std::u16string text) = 0;
    virtual DeviceCode GetShareMenu(std::u16string& text) = 0;
    virtual DeviceCode PutShareMenu(std::u16string text) = 0;

    /// The device's clock as a `time` document.
    virtual DeviceCode GetDeviceTime(std::u16string& text) = 0;
    virtual DeviceCode PutDeviceTime(std::u16string text) = 0;

    virtual DeviceCode GetDeviceID(std::u16string& text) = 0;
    virtual DeviceCode GetCameraDiagnostic(std::u16string& text) = 0;

    /// Tells the camera where a dialogue stands; true if it was delivered.
    virtual bool SendSpecialMsg(CameraMessage message) = 0;
    /// Whether the device asks for the share menu to be set up.
    virtual bool CheckForRequestConfigFile() = 0;
    /// False if the device kind can't answer; `inserted` is then left alone.
    virtual bool IsCardInserted(bool& inserted) = 0;
    /// Turns the descent into subfolders on or off; false if the device kind has no such switch.
    virtual bool SetRecursion(bool enabled) = 0;

    virtual DeviceCode GetTagMenu(std::u16string& text) = 0;
    virtual DeviceCode PutTagMenu(std::u16string text) = 0;
    /// Whether the device asks for the tag list to be set up.
    virtual bool CheckForRequestTagSetupFile() = 0;
};

}  // namespace zlk
