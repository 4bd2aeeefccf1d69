#pragma once
// A PTP initiator (ISO 15740) as the floors above see it.

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

/// One operation for each of the standard's, named and numbered as there. A failure is a thrown
/// PTPCommErrors, and the port is free again by then. A storage or handle of 0 raises
/// PTP_INVALID_STORAGE_ID or PTP_INVALID_OBJECT_HANDLE and sends nothing, where the operation is
/// about one storage or object. A device that leaves the data out and answers OK has not failed:
/// the result is what it is by default, and memory that was to be filled isn't touched.
class PtpInterface {
  public:
    virtual ~PtpInterface() = default;

    virtual DeviceInfoDataset getDeviceInfo() = 0;
    /// PTP_SESSION_ALREADY_OPEN and PTP_INVALID_TRANSACTION_ID mean that a session is open, shared
    /// with another process or left over; the caller can go on.
    virtual void openSession() = 0;
    virtual void closeSession() = 0;
    virtual std::vector<std::uint32_t> getStorageIDs() = 0;
    virtual StorageInfoDataset getStorageInfo(std::uint32_t storage) = 0;
    virtual std::vector<std::uint32_t> getObjectHandles(std::uint32_t storage, std::uint32_t format,
                                                        std::uint32_t parent) = 0;
    virtual ObjectInfoDataset getObjectInfo(std::uint32_t handle) = 0;
    virtual std::uint32_t getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                           std::uint32_t parent) = 0;
    /// Fills `size` bytes of `target`, which the caller knows from the object's info. Where fewer
    /// arrived, those are in `target` and PTP_INCOMPLETE_TRANSFER is raised; more are left out.
    virtual void getThumb(std::uint32_t handle, void* target, std::uint32_t size) = 0;
    /// As getThumb(). `progress` may be null; it can't stop the transfer.
    virtual void getObject(std::uint32_t handle, void* target, std::uint32_t size,
                           ObjectProgressInterface* progress) = 0;
    virtual void deleteObject(std::uint32_t handle, std::uint32_t format) = 0;
    /// PTP_GENERAL_ERROR, with nothing sent, for a text above 254 units.
    virtual void sendObjectInfo(ObjectInfoDataset info, std::uint32_t storage,
                                std::uint32_t parent) = 0;
    /// Belongs directly behind its sendObjectInfo(); nothing keeps other processes from coming in
    /// between.
    virtual void sendObject(const void* data, std::uint32_t size) = 0;
    virtual void initiateCapture(std::uint32_t storage, std::uint32_t format) = 0;
    virtual void formatStore(std::uint32_t storage, std::uint32_t format) = 0;
    virtual void resetDevice() = 0;
    virtual void selfTest(std::uint32_t type) = 0;
    virtual void setObjectProtection(std::uint32_t handle, std::uint32_t status) = 0;
    virtual void powerDown() = 0;
    virtual PropertyDataset getDevicePropDesc(std::uint32_t code) = 0;
    /// `type` is one of namespace dataType; of any other the value is all zero.
    virtual PropertyValue getDevicePropValue(std::uint32_t code, std::uint16_t type) = 0;
    /// A `type` of 0 is looked up by the property's code. Of a type that isn't understood only the
    /// command is sent.
    virtual void setDevicePropValue(std::uint32_t code, PropertyValue value,
                                    std::uint16_t type) = 0;
    virtual void resetDevicePropValue(std::uint32_t code) = 0;
    virtual void terminateOpenCapture(std::uint32_t id) = 0;
    virtual void moveObject(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent) = 0;
    /// The new handle.
    virtual std::uint32_t copyObject(std::uint32_t handle, std::uint32_t storage,
                                     std::uint32_t parent) = 0;
    /// At most `maxBytes` bytes into `target`; how many. Fewer are a device's right. More are read
    /// to their end, left out, and raise PTP_INCOMPLETE_TRANSFER.
    virtual std::uint32_t getPartialObject(std::uint32_t handle, std::uint32_t offset,
                                           std::uint32_t maxBytes, void* target) = 0;
    virtual void initiateOpenCapture(std::uint32_t storage, std::uint32_t format) = 0;
    /// Waits for an event, and takes no turn on the port. All zero where the transport delivers
    /// none.
    virtual PtpEvent getEvent() = 0;

    /// What the caller takes the device to be; no traffic.
    virtual void setDeviceId(std::uint32_t vid, std::uint32_t pid) = 0;
    /// The ids of the device that is there now; whether it is of the vendor that it should be.
    virtual bool checkConnection(std::uint32_t* vid, std::uint32_t* pid) = 0;

    /// Whether the last operation that has data from the device brought any.
    virtual bool receivedData() const = 0;
};

}  // namespace zlk
