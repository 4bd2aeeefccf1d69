#pragma once

#include "ZlkCamTr.h"
#include "platform/component_object.h"

namespace zlk {

/// A progress callback that applications can make by its class: each report is a message box.
class CProgressCallback : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;

    HRESULT UpdateProgress(LONG percent) noexcept override;

  protected:
    CProgressCallback() = default;
    ~CProgressCallback() = default;
};

}  // namespace zlk
