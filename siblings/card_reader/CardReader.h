#pragma once
// The card reader component: finds out whether a device has a card in it.

#include <string>

#include "interfaces/ICardReader.h"
#include "platform/component_object.h"

namespace zlk {

/// Implements ICardReader for all devices that are mounted as volumes.
class CardReader : public ICardReader {
  public:
    using Interfaces = InterfaceList<ICardReader>;

    /// Selects the device.
    HRESULT put_ContextID(BSTR contextId) noexcept override;
    /// `oid` must be cardStateOid, or the result is E_INVALIDARG. Fails for a device that isn't
    /// mounted.
    HRESULT get_oidInteger(LONG oid, LONG* value) noexcept override;

  protected:
    ~CardReader() = default;

  private:
    std::u16string contextId_;
};

}  // namespace zlk
