#include "usbscan/client/DevicePathTable.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "platform/base/Diagnose.h"
#include "platform/base/ForkMark.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/objects/SharedTable.h"
#include "platform/system.h"
#include "usbscan/client/AttachedDevices.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {
namespace {

constexpr std::size_t capacity = (devicePathTableSize - 1) / sizeof(DevicePathEntry);

/// The mapped table; null if it can't be mapped. The table is never unmapped, so that the
/// transaction ids in it aren't lost between two connections of this process. The table's lock must
/// be held.
std::uint8_t* keptView() {
    static ForkMark ours;
    static std::uint8_t* view = nullptr;
    // In a forked child the memory at this address holds zeros, so the child maps the table itself.
    if (ours.crossed()) view = nullptr;
    ours.set();
    if (!view) {
        const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  devicePathTableSize, devicePathTableName);
        if (mapping)
            view = static_cast<std::uint8_t*>(
                MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, devicePathTableSize));
    }
    return view;
}

bool isPortOf(const DevicePathEntry& entry, const AttachedDevice& device) {
    return std::strncmp(entry.port, portableDevicePath(device).c_str(), sizeof entry.port) == 0;
}

/// Overwrites the ids in place: other processes read the table at any time and without a lock, and
/// ids that are right must not disappear for a moment.
void setIds(DevicePathEntry& entry, std::uint16_t vid, std::uint16_t pid) {
    entry.vid = vid;
    entry.pid = pid;
}

}  // namespace

void refreshDevicePathTable() {
    if (!isVistaOrLater()) return;
    const SharedTable::Lock lock(SharedTable("device-paths"));
    // The devices are listed under the lock: with an older list, this process would set the ids to
    // 0 in the entry of a camera that another process has just added.
    const std::vector<AttachedDevice> devices = attachedDevices();
    std::uint8_t* const table = lock.held() ? keptView() : nullptr;
    if (!table) return;
    std::size_t count = std::min<std::size_t>(table[0], capacity);
    const std::span entries(reinterpret_cast<DevicePathEntry*>(table + 1), capacity);
    // An unplugged camera's entry stays, with ids of 0: entries must not move while other processes
    // use them.
    for (DevicePathEntry& entry : entries.first(count))
        if (std::none_of(devices.begin(), devices.end(),
                         [&](const AttachedDevice& device) { return isPortOf(entry, device); }))
            setIds(entry, 0, 0);
    for (const AttachedDevice& device : devices) {
        const auto used = entries.first(count);
        auto entry = std::find_if(used.begin(), used.end(), [&](const DevicePathEntry& each) {
            return isPortOf(each, device);
        });
        if (entry != used.end()) {
            setIds(*entry, device.vid, device.pid);
        } else if (count < capacity) {
            DevicePathEntry& added = entries[count++];
            added = {};
            added.state = 1;
            const std::string port = portableDevicePath(device);
            std::copy(port.begin(), port.end(), added.port);
            setIds(added, device.vid, device.pid);
        } else {
            diagnose("Usbscan", u"There is no place for %s in the table of cameras", device.name);
        }
    }
    // The count is stored last, so that a reader sees a new entry only once it is complete.
    table[0] = static_cast<std::uint8_t>(count);
}

}  // namespace zlk::platform
