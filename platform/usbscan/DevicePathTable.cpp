#include "platform/usbscan/DevicePathTable.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <span>

#include "platform/files.h"
#include "platform/internal/Diagnose.h"
#include "platform/internal/PlatformSettings.h"
#include "platform/internal/SharedTable.h"
#include "platform/named_objects.h"
#include "platform/usbscan.h"
#include "platform/usbscan/AttachedDevices.h"

namespace zlk::platform {
namespace {

constexpr std::size_t capacity = (devicePathTableSize - 1) / sizeof(DevicePathEntry);

/// Null if it can't be had. Never unmapped: the transaction ids in it would be lost between two
/// connections.
std::uint8_t* keptView() {
    static std::mutex lock;
    static std::uint8_t* view = nullptr;
    const std::lock_guard guard(lock);
    if (!view) {
        const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  devicePathTableSize, devicePathTableName);
        if (mapping)
            view = static_cast<std::uint8_t*>(
                MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, devicePathTableSize));
    }
    return view;
}

bool isPortOf(const DevicePathEntry& entry, const std::string& port) {
    return port.size() < sizeof entry.port &&
           std::strncmp(entry.port, port.c_str(), sizeof entry.port) == 0;
}

}  // namespace

void refreshDevicePathTable() {
    if (platformText(u"SystemVersion") != u"6.0") return;
    const std::vector<AttachedDevice> devices = attachedDevices();
    const SharedTable::Lock lock(SharedTable("device-paths"));
    std::uint8_t* const table = lock.held() ? keptView() : nullptr;
    if (!table) return;
    std::size_t count = std::min<std::size_t>(table[0], capacity);
    const std::span entries(reinterpret_cast<DevicePathEntry*>(table + 1), capacity);
    for (DevicePathEntry& entry : entries.first(count)) entry.vid = entry.pid = 0;
    for (const AttachedDevice& device : devices) {
        const std::string port = portableDevicePath(device);
        std::size_t place = 0;
        while (place < count && !isPortOf(entries[place], port)) ++place;
        if (place == count) {
            if (count == capacity) {
                diagnose("Usbscan", u"There is no place for %s in the table of cameras", port);
                continue;
            }
            entries[place] = {};
            entries[place].state = 1;
            std::copy(port.begin(), port.end(), entries[place].port);
            ++count;
        }
        entries[place].vid = device.vid;
        entries[place].pid = device.pid;
    }
    table[0] = static_cast<std::uint8_t>(count);
}

}  // namespace zlk::platform
