#pragma once
// A ready-made progress callback.

#include "ZlkCamTr.h"
#include "platform/component_object.h"

namespace zlk {

/// Writes a line to standard error at each report, and never asks for a stop. Applications make
/// this object by its class id.
class CProgressCallback : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;

    HRESULT UpdateProgress(LONG percent) noexcept override;

  protected:
    CProgressCallback() = default;
    ~CProgressCallback() = default;
};

}  // namespace zlk
