#include "platform/component_module.h"
#include "tests/platform/modules/TestInterfaces.h"

namespace {

using namespace zlk;

class Thing : public INamed, public ICounted {
  public:
    using Interfaces = InterfaceList<INamed, ICounted>;

    HRESULT get_Name(BSTR* name) noexcept override {
        *name = SysAllocString(MODULE_NAME);
        return S_OK;
    }
    HRESULT get_Living(LONG* count) noexcept override {
        *count = living_;
        return S_OK;
    }

  protected:
    Thing() { ++living_; }
    ~Thing() { --living_; }

  private:
    static inline std::atomic<LONG> living_{0};
};

class Maker : public INamed {
  public:
    using Interfaces = InterfaceList<INamed>;

    HRESULT get_Name(BSTR* name) noexcept override { return made_->get_Name(name); }

  protected:
    Maker() {
        if (FAILED(made_.create(CLSID_Thing))) throw 1;
    }
    ~Maker() = default;

  private:
    ComPtr<INamed> made_;
};

class Starved : public INamed {
  public:
    using Interfaces = InterfaceList<INamed>;

    HRESULT get_Name(BSTR*) noexcept override { return E_NOTIMPL; }

  protected:
    Starved() { throw std::bad_alloc(); }
    ~Starved() = default;
};

constexpr ComponentClass classes[] = {
    {CLSID_Thing, createObject<Thing>, 1},
    {CLSID_Maker, createObject<Maker>, 2},
    {CLSID_Starved, createObject<Starved>, 3},
};
constinit ComponentModule component(classes);

}  // namespace

HRESULT DllCanUnloadNow() noexcept {
    return component.canUnloadNow();
}
HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept {
    return component.getClassObject(clsid, iid, object);
}
HRESULT DllRegisterServer() noexcept {
    return component.registerServer();
}
HRESULT DllUnregisterServer() noexcept {
    return component.unregisterServer();
}
