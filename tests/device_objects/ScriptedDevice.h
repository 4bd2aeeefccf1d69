#pragma once
// A device that does what a test says, and an object that works on it.

#include <gmock/gmock.h>

#include "camera_devices/CImageDev.h"
#include "platform/component_object.h"

namespace zlk::test {

/// Connected and successful unless the test says otherwise.
class ScriptedDevice : public CImageDev {
  public:
    ScriptedDevice() {
        ON_CALL(*this, CheckConnection).WillByDefault(testing::Return(true));
        ON_CALL(*this, SendSpecialMsg).WillByDefault(testing::Return(true));
    }
    MOCK_METHOD(bool, CheckConnection, (), (override));
    MOCK_METHOD(DeviceCode, GetFileInfo, (FileInfoList&, ObjectProgressInterface*), (override));
    MOCK_METHOD(DeviceCode, DeleteFile, (std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetFile, (std::u16string, ObjectProgressInterface*, HANDLE),
                (override));
    MOCK_METHOD(DeviceCode, GetThumbnail, (std::u16string, std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetDpofFile, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, PutDpofFile, (std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetIntentFile, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, PutIntentFile, (std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetShareMenu, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, PutShareMenu, (std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetDeviceTime, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, PutDeviceTime, (std::u16string), (override));
    MOCK_METHOD(DeviceCode, GetDeviceID, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, GetCameraDiagnostic, (std::u16string&), (override));
    MOCK_METHOD(bool, SendSpecialMsg, (CameraMessage), (override));
    MOCK_METHOD(bool, CheckForRequestConfigFile, (), (override));
    MOCK_METHOD(bool, IsCardInserted, (bool&), (override));
    MOCK_METHOD(bool, SetRecursion, (bool), (override));
    MOCK_METHOD(DeviceCode, GetTagMenu, (std::u16string&), (override));
    MOCK_METHOD(DeviceCode, PutTagMenu, (std::u16string), (override));
    MOCK_METHOD(bool, CheckForRequestTagSetupFile, (), (override));
};
using NiceDevice = testing::NiceMock<ScriptedDevice>;

/// A device object that a test may give a device.
template <class Object>
class WithDevice : public Object {
  public:
    HRESULT lock(std::u16string_view id) { return this->LockDevice(Bstr(id).get()); }
    /// Locks the object and puts a device behind it.
    std::shared_ptr<NiceDevice> hold() {
        EXPECT_EQ(lock(u"#Test#Scripted#0000"), S_OK);
        auto device = std::make_shared<NiceDevice>();
        this->imageDev = device;
        return device;
    }
    LONG error() {
        LONG code = -1;
        EXPECT_EQ(this->get_ErrorCode(&code), S_OK);
        return code;
    }

    /// The code that an operation with this result has left; 0 for success.
    LONG codeOf(HRESULT result) {
        const LONG code = error();
        EXPECT_EQ(result, code == 0 ? S_OK : E_FAIL);
        return code;
    }

  protected:
    ~WithDevice() = default;
};

/// A new object, with the reference that it is made with.
template <class Object>
ComPtr<PlainObject<WithDevice<Object>>> makeObject() {
    ComPtr<PlainObject<WithDevice<Object>>> object;
    *object.out() = new PlainObject<WithDevice<Object>>;
    return object;
}

}  // namespace zlk::test
