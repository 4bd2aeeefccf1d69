#pragma once
// The interface of a PTP initiator (ISO 15740), by which the floors above use a camera.

#include <cstdint>
#include <vector>

#include "foundation/ObjectProgressInterface.h"
#include "ptp/DeviceInfoDataset.h"
#include "ptp/ObjectInfoDataset.h"
#include "ptp/PTPCommErrors.h"
#include "ptp/PropertyDataset.h"
#include "ptp/PtpEvent.h"
#include "ptp/StorageInfoDataset.h"

namespace zlk {

/// The functions down to initiateOpenCapture() are the standard's operations. A failure is a thrown
/// PTPCommErrors, and the port has been released by then.
///
/// Before anything is sent, a handle of 0 throws PTP_INVALID_OBJECT_HANDLE, except in
/// getPartialObject(), and a storage of 0 throws PTP_INVALID_STORAGE_ID in getStorageInfo(),
/// getNumberObjects() and getObjectHandles(). Elsewhere a 0 is allowed.
///
/// A device that sends no data and answers OK has not failed: the result has its default value, and
/// memory that was to be filled isn't touched. OtherMakersDriver makes one exception: it throws
/// PTP_NO_RESPONSE for a list of handles that doesn't come.
///
/// One thread at a time may use an object. Every operation blocks, also while another program holds
/// the port. Memory that is handed in stays the caller's.
class PtpInterface {
  public:
    virtual ~PtpInterface() = default;

    virtual DeviceInfoDataset getDeviceInfo() = 0;
    /// PTP_SESSION_ALREADY_OPEN and PTP_INVALID_TRANSACTION_ID mean that a session is open already,
    /// shared with another process or left over. The caller can go on.
    virtual void openSession() = 0;
    /// Ends the session for all programs that use the camera.
    virtual void closeSession() = 0;
    virtual std::vector<std::uint32_t> getStorageIDs() = 0;
    virtual StorageInfoDataset getStorageInfo(std::uint32_t storage) = 0;
    /// `storage` 0xFFFFFFFF means all storages; `format` 0 any format; `parent` 0 any folder, and
    /// 0xFFFFFFFF the root.
    virtual std::vector<std::uint32_t> getObjectHandles(std::uint32_t storage, std::uint32_t format,
                                                        std::uint32_t parent) = 0;
    virtual ObjectInfoDataset getObjectInfo(std::uint32_t handle) = 0;
    /// The parameters are those of getObjectHandles().
    virtual std::uint32_t getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                           std::uint32_t parent) = 0;
    /// Fills `size` bytes of `target`; the caller knows the size from the object's info. If fewer
    /// bytes arrive, they are in `target`, and the device's error is thrown, or
    /// PTP_INCOMPLETE_TRANSFER if the device reports success. Bytes beyond `size` are dropped.
    virtual void getThumb(std::uint32_t handle, void* target, std::uint32_t size) = 0;
    /// Like getThumb(). `progress` may be null; its answer can't stop the transfer.
    virtual void getObject(std::uint32_t handle, void* target, std::uint32_t size,
                           ObjectProgressInterface* progress) = 0;
    virtual void deleteObject(std::uint32_t handle, std::uint32_t format) = 0;
    /// Announces an object. Throws PTP_GENERAL_ERROR, with nothing sent, for a text above 254
    /// units.
    virtual void sendObjectInfo(ObjectInfoDataset info, std::uint32_t storage,
                                std::uint32_t parent) = 0;
    /// Sends the bytes of the object that was announced last. Nothing keeps another process from
    /// using the camera between the two calls.
    virtual void sendObject(const void* data, std::uint32_t size) = 0;
    virtual void initiateCapture(std::uint32_t storage, std::uint32_t format) = 0;
    virtual void formatStore(std::uint32_t storage, std::uint32_t format) = 0;
    virtual void resetDevice() = 0;
    virtual void selfTest(std::uint32_t type) = 0;
    virtual void setObjectProtection(std::uint32_t handle, std::uint32_t status) = 0;
    virtual void powerDown() = 0;
    virtual PropertyDataset getDevicePropDesc(std::uint32_t code) = 0;
    /// `type` is one of namespace dataType. For any other type the value is all zero.
    virtual PropertyValue getDevicePropValue(std::uint32_t code, std::uint16_t type) = 0;
    /// A `type` of 0 stands for the type that the standard gives the property, or uint32 for other
    /// properties. For a type that isn't supported only the command is sent, without data.
    virtual void setDevicePropValue(std::uint32_t code, PropertyValue value,
                                    std::uint16_t type) = 0;
    virtual void resetDevicePropValue(std::uint32_t code) = 0;
    virtual void terminateOpenCapture(std::uint32_t id) = 0;
    virtual void moveObject(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent) = 0;
    /// Returns the handle of the copy.
    virtual std::uint32_t copyObject(std::uint32_t handle, std::uint32_t storage,
                                     std::uint32_t parent) = 0;
    /// Copies at most `maxBytes` bytes from `offset` on into `target`, and returns how many. A
    /// device may send fewer. If it sends more, the surplus is received and dropped, and
    /// PTP_INCOMPLETE_TRANSFER is thrown.
    virtual std::uint32_t getPartialObject(std::uint32_t handle, std::uint32_t offset,
                                           std::uint32_t maxBytes, void* target) = 0;
    virtual void initiateOpenCapture(std::uint32_t storage, std::uint32_t format) = 0;
    /// Waits for an event, without taking a turn on the port, so others may use the camera
    /// meanwhile. All fields are 0 if no event came before the driver's time-out, if four events in
    /// a row had an impossible length, or if the transport has no events.
    virtual PtpEvent getEvent() = 0;

    /// Sets the ids that checkConnection() compares with. Nothing is sent.
    virtual void setDeviceId(std::uint32_t vid, std::uint32_t pid) = 0;
    /// Finds out the ids of the device that is there now. True if its vendor is the expected one;
    /// the product isn't compared.
    virtual bool checkConnection(std::uint32_t* vid, std::uint32_t* pid) = 0;

    /// After an operation that receives data and hasn't failed: the number of bytes of data that
    /// the device has sent, 0 if it has answered without data.
    virtual std::uint32_t receivedData() const = 0;
};

}  // namespace zlk
