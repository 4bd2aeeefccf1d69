#include "tools/zlkcam/commands/DeviceWords.h"

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

std::u16string takeFirst(std::vector<std::string>& words) {
    std::u16string first = wideText(words.front());
    words.erase(words.begin());
    return first;
}

}  // namespace

void addDevice(CLI::App& command, DeviceOption& option) {
    command.add_option("device", option.device,
                       "context id or drive letter; may be left out when there is only one device");
}

std::u16string DeviceWords::takeDevice(std::size_t others) {
    return words.size() > others ? takeFirst(words) : std::u16string();
}

std::u16string DeviceWords::takeDeviceByLooks() {
    return DeviceDirectory::isDeviceName(wideText(words.front())) ? takeFirst(words)
                                                                  : std::u16string();
}

}  // namespace zlk
