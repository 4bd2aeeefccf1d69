#pragma once
// The three methods of IUnknown for objects of this library itself, which any thread may use.

#include <atomic>

#include "platform/component.h"

namespace zlk::platform {

template <class Interface>
class CountedObject : public Interface {
  public:
    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!object) return E_POINTER;
        const bool known = iid == iidOf<IUnknown> || iid == iidOf<Interface>;
        *object = known ? static_cast<Interface*>(this) : nullptr;
        if (!known) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() noexcept override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() noexcept override {
        const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

  protected:
    virtual ~CountedObject() = default;

  private:
    std::atomic<ULONG> count_ = 1;
};

}  // namespace zlk::platform
