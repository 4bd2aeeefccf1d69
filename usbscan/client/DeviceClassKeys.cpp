#include "usbscan/client/DeviceClassKeys.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "usbscan/client/AttachedDevices.h"

namespace zlk::platform {
namespace {

// In upper case, since paths are compared in their folded form.
constexpr std::array<std::u16string_view, 4> classFolder = {u"SYSTEM", u"CURRENTCONTROLSET",
                                                            u"CONTROL", u"CLASS"};
// Classes of the first driver family and of the second.
constexpr std::u16string_view imageClass = u"{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";
constexpr std::u16string_view portableClass = u"{EEC5AD98-8080-425F-922A-DABF3DE3F69A}";

// Callers recognise by this value the cameras that our driver serves, of whatever maker.
constexpr std::u16string_view provider = u"Zephyr-Lanthorn";

/// A REG_SZ value; its data includes the terminating zero.
RegistryValue textValue(std::u16string_view name, std::u16string_view text) {
    std::vector<BYTE> data((text.size() + 1) * sizeof(WCHAR));
    std::copy_n(reinterpret_cast<const BYTE*>(text.data()), text.size() * sizeof(WCHAR),
                data.begin());
    const auto size = static_cast<DWORD>(data.size());
    return {RegistryName::of(name), REG_SZ, size, std::move(data)};
}

RegistryName subKeyOf(const AttachedDevice& device) {
    return RegistryName::of(formatText(u"%u", device.port));
}

}  // namespace

std::shared_ptr<const RegistryContent> DeviceClassKeys::find(const RegistryPath& path) {
    const std::size_t depth = classFolder.size() + 1;
    if (path.size() < depth || path.size() > depth + 1) return nullptr;
    for (std::size_t i = 0; i < classFolder.size(); ++i)
        if (path[i].folded != classFolder[i]) return nullptr;
    const std::u16string& wanted = path[depth - 1].folded;
    if (wanted != imageClass && wanted != portableClass) return nullptr;

    auto content = std::make_shared<RegistryContent>();
    const std::vector<AttachedDevice> devices = attachedDevices();
    if (path.size() == depth) {
        std::transform(devices.begin(), devices.end(), std::back_inserter(content->subKeys),
                       subKeyOf);
        return content;
    }
    for (const AttachedDevice& device : devices) {
        if (subKeyOf(device).folded != path.back().folded) continue;
        if (wanted == imageClass)
            content->values.push_back(textValue(u"CreateFileName", scannerPortText(device)));
        content->values.push_back(textValue(
            u"MatchingDeviceId", formatText(u"USB\\VID_%04X&PID_%04X", device.vid, device.pid)));
        content->values.push_back(textValue(u"ProviderName", provider));
        return content;
    }
    return nullptr;
}

}  // namespace zlk::platform
