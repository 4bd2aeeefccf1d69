#pragma once
// A base for the platform's own reference-counted objects: the three methods of IUnknown with an
// atomic count, so that any thread may take and release references.

#include <atomic>

#include "platform/component.h"

namespace zlk::platform {

/// Implements IUnknown for a class with one interface. The object starts with one reference, its
/// maker's, and deletes itself with the last one.
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
        // The thread that deletes the object must see what other threads did to the object.
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
