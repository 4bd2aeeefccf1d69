#pragma once
// The object through which a component reports the progress of a transfer to this program.

#include <functional>

#include "ZlkCamTr.h"

namespace zlk {

/// Hands each report of progress to a function. The object lives on the stack during one call. The
/// component only borrows it, so the reference count has no effect and never deletes it.
class ProgressCallback final : public IProgressCallback {
  public:
    /// `heard` gets the percentage and returns false to stop the transfer. Its exceptions are
    /// dropped, because none may cross a component's method, and a report that can't be shown is no
    /// reason to stop.
    explicit ProgressCallback(std::function<bool(int)> heard) : heard_(std::move(heard)) {}

    HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
        if (!object) return E_POINTER;
        const bool known = iid == iidOf<IUnknown> || iid == iidOf<IProgressCallback>;
        *object = known ? static_cast<IProgressCallback*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() noexcept override { return 2; }
    ULONG Release() noexcept override { return 1; }
    HRESULT UpdateProgress(LONG percent) noexcept override {
        try {
            // S_FALSE has the component stop the transfer.
            return heard_(percent) ? S_OK : S_FALSE;
        } catch (...) {
            return S_OK;
        }
    }

    /// The components declare the argument as VARIANT*, but expect the callback itself in it.
    VARIANT* asArgument() {
        return reinterpret_cast<VARIANT*>(static_cast<IProgressCallback*>(this));
    }

  private:
    std::function<bool(int)> heard_;
};

}  // namespace zlk
