#pragma once
// The settings tree's two device class keys, whose content is computed at each access: below each
// stands a subkey for every still-image device that is attached, named by its port number.

#include "platform/settings/RegistryTypes.h"

namespace zlk::platform {

class DeviceClassKeys : public RegistryBackdrop {
  public:
    /// The content of a class key or of a device's key below it; null for any other path.
    std::shared_ptr<const RegistryContent> find(const RegistryPath& path) override;
};

}  // namespace zlk::platform
