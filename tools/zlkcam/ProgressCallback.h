#pragma once
// The application's side of a transfer's progress reports.

#include <functional>

#include "ZlkCamTr.h"

namespace zlk {

/// Lives on the stack around one call, which only borrows it: counting has no effect.
class ProgressCallback final : public IProgressCallback {
  public:
    /// Gets the percentage; false stops the transfer. What it throws is dropped: a report that
    /// can't be shown is no reason to stop.
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
            return heard_(percent) ? S_OK : S_FALSE;
        } catch (...) {
            return S_OK;
        }
    }

    /// In the form in which the calls take it.
    VARIANT* asArgument() {
        return reinterpret_cast<VARIANT*>(static_cast<IProgressCallback*>(this));
    }

  private:
    std::function<bool(int)> heard_;
};

}  // namespace zlk
