#pragma once
// Builds the `devices` document, in which lists of devices are given to applications.

#include <string>

#include "foundation/Xml.h"

namespace zlk {

/// Holds one `device` element for each entry, in the order of adding, with `friendlyName`,
/// `contextId` and `progId`. Without an XML component the document is empty.
class DeviceInfoList {
  public:
    DeviceInfoList();

    /// Adds an entry. An entry that can't be built completely is left out.
    void addDevice(const std::u16string& contextId, const std::u16string& friendlyName,
                   const std::u16string& progId);

    std::u16string getXml() const { return document.xml(); }

  private:
    XmlDocument document;
};

}  // namespace zlk
