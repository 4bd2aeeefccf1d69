#pragma once
// The card reader component: finds out whether a device has a card in it.

#include <string>

#include "interfaces/ICardReader.h"
#include "platform/component_object.h"

namespace zlk {

/// Implements ICardReader for all devices that mountPlace() finds.
class CardReader : public ICardReader {
  public:
    using Interfaces = InterfaceList<ICardReader>;

    HRESULT put_ContextID(BSTR contextId) noexcept override;
    /// After a failure *value is 0, which stands for no state.
    HRESULT get_oidInteger(LONG oid, LONG* value) noexcept override;

  protected:
    ~CardReader() = default;

  private:
    std::u16string contextId_;
};

}  // namespace zlk
