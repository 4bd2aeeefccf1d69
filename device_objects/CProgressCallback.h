#pragma once
// A ready-made progress callback.

#include "ZlkCamTr.h"
#include "platform/component_object.h"

namespace zlk {

/// Shows a message at each report (see MessageBoxW). Applications make this object by its class id.
class CProgressCallback : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;

    HRESULT UpdateProgress(LONG percent) noexcept override;

  protected:
    CProgressCallback() = default;
    ~CProgressCallback() = default;
};

}  // namespace zlk
