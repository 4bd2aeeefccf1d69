#pragma once
// A PTP device whose port and driver a test chooses, and a driver that does what the test says.

#include <gmock/gmock.h>

#include <map>

#include "camera_devices/CPTPCameraDev.h"
#include "ptp/ZlPTPdrv.h"
#include "tests/camera_devices/Card.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {

/// A driver without a port. By itself it answers for a camera with `objects`; what no test scripts
/// raises PTP_NO_CONNECTION.
class ScriptedDriver : public ZlPTPdrv {
  public:
    struct Object {
        ObjectInfoDataset info;
        std::string bytes;
    };

    ScriptedDriver() : ZlPTPdrv(0u, 0u) {
        using testing::Return;
        ON_CALL(*this, checkConnection).WillByDefault(Return(true));
        ON_CALL(*this, receivedData).WillByDefault([this] { return received; });
        ON_CALL(*this, getStorageIDs).WillByDefault(Return(std::vector<std::uint32_t>{0x10001}));
        ON_CALL(*this, getNumberObjects).WillByDefault([this] {
            return static_cast<std::uint32_t>(objects.size());
        });
        ON_CALL(*this, getObjectHandles)
            .WillByDefault([this](std::uint32_t, std::uint32_t format, std::uint32_t) {
                std::vector<std::uint32_t> handles;
                for (const auto& [handle, object] : objects)
                    if (format == 0 || object.info.ObjectFormat == format)
                        handles.push_back(handle);
                return handles;
            });
        ON_CALL(*this, getObjectInfo).WillByDefault([this](std::uint32_t handle) {
            received = 100;
            return find(handle).info;
        });
        ON_CALL(*this, getThumb).WillByDefault([this] { received = 0; });
        ON_CALL(*this, getObject)
            .WillByDefault([this](std::uint32_t handle, void* to, std::uint32_t size, auto) {
                received = static_cast<std::uint32_t>(find(handle).bytes.size());
                find(handle).bytes.copy(static_cast<char*>(to), size);
            });
        ON_CALL(*this, getPartialObject)
            .WillByDefault(
                [this](std::uint32_t handle, std::uint32_t offset, std::uint32_t size, void* to) {
                    return static_cast<std::uint32_t>(
                        find(handle).bytes.copy(static_cast<char*>(to), size, offset));
                });
    }

    std::map<std::uint32_t, Object> objects;
    std::uint32_t received = 0;  ///< by the last operation

    /// An object whose info says that it has these bytes.
    ObjectInfoDataset& add(std::uint32_t handle, const WCHAR* name, std::string bytes,
                           std::uint16_t format = 0x3801) {
        Object& object = objects[handle];
        object.info.ObjectFormat = format;
        object.info.ObjectCompressedSize = static_cast<std::uint32_t>(bytes.size());
        object.info.Filename.assign(wString(name));
        object.bytes = std::move(bytes);
        return object.info;
    }
    const Object& find(std::uint32_t handle) const {
        const auto found = objects.find(handle);
        if (found == objects.end()) throw PTP_INVALID_OBJECT_HANDLE;
        return found->second;
    }

    using Number = std::uint32_t;
    using Handles = std::vector<std::uint32_t>;
    MOCK_METHOD(void, openSession, (), (override));
    MOCK_METHOD(void, closeSession, (), (override));
    MOCK_METHOD(Handles, getStorageIDs, (), (override));
    MOCK_METHOD(Handles, getObjectHandles, (Number, Number, Number), (override));
    MOCK_METHOD(ObjectInfoDataset, getObjectInfo, (Number), (override));
    MOCK_METHOD(Number, getNumberObjects, (Number, Number, Number), (override));
    MOCK_METHOD(void, getThumb, (Number, void*, Number), (override));
    MOCK_METHOD(void, getObject, (Number, void*, Number, ObjectProgressInterface*), (override));
    MOCK_METHOD(void, deleteObject, (Number, Number), (override));
    MOCK_METHOD(void, sendObjectInfo, (ObjectInfoDataset, Number, Number), (override));
    MOCK_METHOD(void, sendObject, (const void*, Number), (override));
    MOCK_METHOD(PropertyValue, getDevicePropValue, (Number, std::uint16_t), (override));
    MOCK_METHOD(void, setDevicePropValue, (Number, PropertyValue, std::uint16_t), (override));
    MOCK_METHOD(Number, getPartialObject, (Number, Number, Number, void*), (override));
    MOCK_METHOD(PtpEvent, getEvent, (), (override));
    MOCK_METHOD(void, setDeviceId, (Number, Number), (override));
    MOCK_METHOD(bool, checkConnection, (Number*, Number*), (override));
    MOCK_METHOD(Number, receivedData, (), (const, override));
};
using NiceDriver = testing::NiceMock<ScriptedDriver>;

/// The model whose cameras take the share menu and speak PTP, and one that doesn't take it.
inline constexpr WCHAR cam283[] = u"VID_5AF1&PID_7D01";
inline constexpr WCHAR cam539[] = u"VID_5AF1&PID_7C36";
inline constexpr WCHAR cam476[] = u"VID_5AF1&PID_7C35";
inline constexpr WCHAR cam368[] = u"VID_5AF1&PID_7D02";

class PtpDevice : public CPTPCameraDev {
  public:
    explicit PtpDevice(const WCHAR* lowLevelId = cam283)
        : CPTPCameraDev(lowLevelId, u"#ZL#Cam#1") {}

    std::u16string port = u"\\\\.\\Usbscan1000";
    std::unique_ptr<PtpInterface> driver;  ///< to be taken; else the real one is
    std::u16string path;                   ///< for which a driver was made

  protected:
    std::u16string findCameraPortinRegistry() override { return port; }
    std::unique_ptr<PtpInterface> createDriver(const std::u16string& wanted) override {
        path = wanted;
        return driver ? std::move(driver) : CPTPCameraDev::createDriver(wanted);
    }
};

inline std::u16string idOf(std::uint32_t handle) {
    return formatText(u"%d", handle);
}

}  // namespace zlk::test
