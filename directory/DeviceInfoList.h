#pragma once
#include <string>

#include "foundation/Xml.h"

namespace zlk {

/// A `devices` document in the making: a `device` element for each entry, in the order of adding,
/// with `friendlyName`, `contextId` and `progId`. Without an XML component it stays empty.
class DeviceInfoList {
  public:
    DeviceInfoList();

    /// An entry that can't be built whole is left out.
    void addDevice(const std::u16string& contextId, const std::u16string& friendlyName,
                   const std::u16string& progId);

    std::u16string getXml() const { return document.xml(); }

  private:
    XmlDocument document;
};

}  // namespace zlk
