#include "directory/DeviceInfoList.h"

namespace zlk {

DeviceInfoList::DeviceInfoList() {
    document.addFragment(u"/", u"<devices />");
}

void DeviceInfoList::addDevice(const std::u16string& contextId, const std::u16string& friendlyName,
                               const std::u16string& progId) {
    XmlDocument device;
    if (device.addFragment(u"/", u"<device />") &&
        device.addElement(u"device", u"friendlyName", friendlyName) &&
        device.addElement(u"device", u"contextId", contextId) &&
        device.addElement(u"device", u"progId", progId))
        document.addFragment(u"devices", device.xml());
}

}  // namespace zlk
