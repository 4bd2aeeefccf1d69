#include "tests/directory/fakes/Fakes.h"

#include "ZlkCamTr.h"
#include "device_objects/CUnloadableCamera.h"
#include "foundation/ComponentText.h"
#include "foundation/Registry.h"
#include "interfaces/IDriveMapper.h"
#include "platform/automation_object.h"
#include "platform/component_module.h"

namespace zlk::test {
namespace {

std::u16string setting(const WCHAR* key, const std::u16string& name) {
    std::u16string value;
    regReadString(regOpenKey(HKEY_LOCAL_MACHINE, key, KEY_READ).get(), name, value);
    return value;
}

class FakeMapper : public IDriveMapper {
  public:
    using Interfaces = InterfaceList<IDriveMapper>;
    HRESULT put_ContextId(BSTR contextId) noexcept override {
        id = textOf(contextId);
        return id == u"#refused" ? E_FAIL : S_OK;
    }
    HRESULT get_DrivePrefix(BSTR* prefix) noexcept override {
        return guardedText(prefix, [&] { return setting(fakeDrivesKey, id); });
    }

  protected:
    ~FakeMapper() = default;

  private:
    std::u16string id;
};

/// A device of ours but for the calls that the directory makes.
class FakeDevice : public CUnloadableCamera {
  public:
    HRESULT LockDevice(BSTR id) noexcept override {
        note(u"Lock(" + textOf(id) + u")");
        return setting(fakeDeviceKey, u"Held") == u"yes" ? E_FAIL : S_OK;
    }
    HRESULT UnlockDevice() noexcept override {
        note(u"Unlock");
        return setting(fakeDeviceKey, u"UnlockFails") == u"yes" ? E_FAIL : S_OK;
    }
    HRESULT Escape(BSTR message, BSTR* answer) noexcept override {
        note(textOf(message));
        const std::u16string text = setting(fakeDeviceKey, textOf(message));
        return text.empty() ? E_FAIL : guardedText(answer, [&] { return text; });
    }

  protected:
    ~FakeDevice() = default;

  private:
    static void note(const std::u16string& call) {
        const RegistryKey key = regCreateKey(HKEY_LOCAL_MACHINE, fakeDeviceKey, KEY_ALL_ACCESS);
        regWriteString(key.get(), u"Calls", setting(fakeDeviceKey, u"Calls") + call + u";");
    }
};

HRESULT delegateText(BSTR* text) {
    *text = Bstr(u"delegate").detach();
    return S_FALSE;
}

template <class Number>
HRESULT delegateNumber(Number* number) {
    *number = 8;
    return S_FALSE;
}

class FakeList : public DispatchImpl<IDeviceList> {
  public:
    using Interfaces = InterfaceList<IDeviceList, IDispatch>;
    HRESULT get_UnloadDevices(BSTR* text) noexcept override { return delegateText(text); }
    HRESULT get_SwiftPostDevices(BSTR* text) noexcept override { return delegateText(text); }
    HRESULT get_TagDevices(BSTR* text) noexcept override { return delegateText(text); }

  protected:
    ~FakeList() = default;
};

class FakeUtils : public DispatchImpl<IDeviceUtils> {
  public:
    using Interfaces = InterfaceList<IDeviceUtils, IDispatch>;
    HRESULT DriveLetterToContextId(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT ContextIdToLowLevelId(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT ContextIdToUnloadInterface(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT ContextIdToName(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT CameraVidPidToContextId(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT LogCameraInfo(BSTR, BSTR) noexcept override { return S_FALSE; }
    HRESULT ContextIdToCheckMediaMethod(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT IsDeviceLocked(BSTR, SHORT* n) noexcept override { return delegateNumber(n); }
    HRESULT ContextIdToCameraPort(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT MapContextId(BSTR, BSTR* t) noexcept override { return delegateText(t); }
    HRESULT ContextIdToFileEnumTimeout(BSTR, LONG* n) noexcept override {
        return delegateNumber(n);
    }
    HRESULT IsDeviceRequestingConfig(BSTR, SHORT* n) noexcept override { return delegateNumber(n); }
    HRESULT AllowDeleteForContextId(BSTR, SHORT* n) noexcept override { return delegateNumber(n); }
    HRESULT IsDeviceRequestingTagSetup(BSTR, SHORT* n) noexcept override {
        return delegateNumber(n);
    }
    HRESULT ContextIdToTSBInterface(BSTR, BSTR* t) noexcept override { return delegateText(t); }

  protected:
    ~FakeUtils() = default;
};

constexpr ComponentClass classes[] = {
    {clsidFakeMapper, createObject<FakeMapper>, 0}, {clsidFakeDevice, createObject<FakeDevice>, 0},
    {clsidFakeList, createObject<FakeList>, 0},     {clsidFakeUtils, createObject<FakeUtils>, 0},
    {CLSID_DeviceList, createObject<FakeList>, 0},
};
constinit ComponentModule component(classes);

}  // namespace
}  // namespace zlk::test

HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept {
    return zlk::test::component.getClassObject(clsid, iid, object);
}
