#pragma once
// The drive mapper component: finds out where a device is mounted.

#include <string>

#include "interfaces/IDriveMapper.h"
#include "platform/component_object.h"

namespace zlk {

/// Implements IDriveMapper; MountPlace.h says how the place of a device is found.
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
