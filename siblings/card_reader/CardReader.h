#pragma once

#include <string>

#include "interfaces/ICardReader.h"
#include "platform/component_object.h"

namespace zlk {

class CardReader : public ICardReader {
  public:
    using Interfaces = InterfaceList<ICardReader>;

    HRESULT put_ContextID(BSTR contextId) noexcept override;
    HRESULT get_oidInteger(LONG oid, LONG* value) noexcept override;

  protected:
    ~CardReader() = default;

  private:
    std::u16string contextId_;
};

}  // namespace zlk
