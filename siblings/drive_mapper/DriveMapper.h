#pragma once

#include <string>

#include "interfaces/IDriveMapper.h"
#include "platform/component_object.h"

namespace zlk {

class DriveMapper : public IDriveMapper {
  public:
    using Interfaces = InterfaceList<IDriveMapper>;

    HRESULT put_ContextId(BSTR contextId) noexcept override;
    HRESULT get_DrivePrefix(BSTR* prefix) noexcept override;

  protected:
    ~DriveMapper() = default;

  private:
    std::u16string contextId_;
};

}  // namespace zlk
