#include "directory/DeviceInfoList.h"

namespace zlk {
namespace {

/// The name with U+FFFD for each control character below U+0020 and for all else that a document
/// can't hold. A volume's label may have any characters, and a card with a strange one must be
/// listed all the same.
std::u16string showable(std::u16string name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const WCHAR unit = name[i];
        const bool leads = (unit & 0xFC00) == 0xD800;
        if (leads && i + 1 < name.size() && (name[i + 1] & 0xFC00) == 0xDC00) {
            ++i;
        } else if (unit < u' ' || (unit & 0xF800) == 0xD800 || unit >= 0xFFFE) {
            name[i] = u'\uFFFD';
        }
    }
    return name;
}

}  // namespace

DeviceInfoList::DeviceInfoList() {
    document.addFragment(u"/", u"<devices />");
}

void DeviceInfoList::addDevice(const std::u16string& contextId, const std::u16string& friendlyName,
                               const std::u16string& progId) {
    XmlDocument device;
    if (device.addFragment(u"/", u"<device />") &&
        device.addElement(u"device", u"friendlyName", showable(friendlyName)) &&
        device.addElement(u"device", u"contextId", contextId) &&
        device.addElement(u"device", u"progId", progId))
        document.addFragment(u"devices", device.xml());
}

}  // namespace zlk
