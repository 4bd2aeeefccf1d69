#pragma once
// The two device class keys, answered live: below each a subkey for every still-image device that
// is attached, named by its port number.

#include "platform/settings/RegistryTypes.h"

namespace zlk::platform {

class DeviceClassKeys : public RegistryBackdrop {
  public:
    std::shared_ptr<const RegistryContent> find(const RegistryPath& path) override;
};

}  // namespace zlk::platform
