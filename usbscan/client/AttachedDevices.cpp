#include "usbscan/client/AttachedDevices.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

#include "platform/base/MachineRoot.h"
#include "platform/base/SmallFile.h"
#include "platform/immortal.h"
#include "platform/objects/SharedTable.h"
#include "platform/text.h"
#include "usbscan/HostEndpoint.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {
namespace {

constexpr char busFolder[] = "/sys/bus/usb/devices/";
// The kernel increments this number with each event, such as a device's coming or going.
constexpr char eventCount[] = "/sys/kernel/uevent_seqnum";
constexpr std::string_view stillImage = "6/1/1";  // class, subclass and protocol
// Bytes; a longer file is cut off.
constexpr std::size_t maxEntry = 4096;
constexpr char tableName[] = "port-numbers";

template <class Number>
Number numberOf(std::string_view text, int base) {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, base);
    return number;
}

/// The kernel's properties of a device or an interface, a line NAME=value each.
std::string readProperties(const std::string& folder) {
    return readSmallFile(folder + "/uevent", maxEntry);
}

std::string_view property(std::string_view lines, std::string_view name) {
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        if (line.size() > name.size() && line.starts_with(name) && line[name.size()] == '=')
            return line.substr(name.size() + 1);
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    }
    return {};
}

/// Reads sysfs. A folder named `1-2:1.0` is interface 0 of configuration 1 of the device in `1-2`.
std::vector<AttachedDevice> readBus() {
    std::vector<AttachedDevice> devices;
    std::set<std::string> seen;
    for (const std::string& name : namesIn(busFolder)) {
        const std::size_t colon = name.find(':');
        if (colon == name.npos) continue;
        const std::string interface = readProperties(busFolder + name);
        if (property(interface, "INTERFACE") != stillImage) continue;
        const std::string folder = busFolder + name.substr(0, colon);
        // A device may have several still-image interfaces, and is listed once.
        if (!seen.insert(folder).second) continue;
        const std::string properties = readProperties(folder);
        const auto bus = numberOf<unsigned>(property(properties, "BUSNUM"), 10);
        const auto number = numberOf<unsigned>(property(properties, "DEVNUM"), 10);
        if (bus == 0 || bus > 999 || number == 0 || number > 999) continue;
        char place[16];
        std::snprintf(place, sizeof place, "%03u/%03u", bus, number);
        AttachedDevice device;
        device.node = std::string("/dev/bus/usb/") + place;
        place[3] = '-';
        device.name = std::string("usb-") + place;
        // PRODUCT is vid/pid/version in hexadecimal digits, as in 5af1/7c36/100.
        const std::string_view ids = property(properties, "PRODUCT");
        device.vid = numberOf<std::uint16_t>(ids, 16);
        device.pid = numberOf<std::uint16_t>(ids.substr(ids.find('/') + 1), 16);
        device.manufacturer = readAttribute(folder + "/manufacturer");
        device.product = readAttribute(folder + "/product");
        device.serial = readAttribute(folder + "/serial");
        devices.push_back(std::move(device));
    }
    return devices;
}

/// The devices on the bus, cached for as long as the kernel's count of events stays the same.
struct KnownBus {
    std::mutex lock;
    std::string event;  // the kernel's count when `devices` was read
    std::vector<AttachedDevice> devices;
};

/// One question of an application may list the devices many times. Reading the kernel's count of
/// events takes a fraction of the time that reading the bus takes, and every arrival and departure
/// is followed by an event.
std::vector<AttachedDevice> devicesOnTheBus() {
    static Immortal<KnownBus> known;
    // A thread that finds the lock taken reads the bus itself and doesn't wait: in a child that was
    // forked while another thread held it, the lock stays taken for ever.
    const std::unique_lock guard(known->lock, std::try_to_lock);
    if (!guard) return readBus();
    // The count is read before the bus: if the bus changes in between, the next call finds another
    // count and reads the bus again.
    std::string event = readAttribute(eventCount);
    if (event.empty() || event != known->event) {
        known->devices = readBus();
        known->event = std::move(event);
    }
    return known->devices;
}

/// Adds the devices that processes serve without a bus, such as virtual cameras. An entry whose
/// lock is free was left by a process that died, and is skipped.
void addServedDevices(std::vector<AttachedDevice>& devices) {
    constexpr std::string_view ending = ".device";
    const std::string folder = deviceFolder();
    if (folder.empty()) return;
    const std::string front = folder + '/';
    for (const std::string& entry : namesIn(folder)) {
        if (!entry.ends_with(ending)) continue;
        AttachedDevice device;
        device.name = entry.substr(0, entry.size() - ending.size());
        if (!usbscan::DeviceLock::isTaken(folder, device.name)) continue;
        std::istringstream lines(readSmallFile(front + entry, maxEntry));
        for (std::string key, value;
             lines >> key && lines.ignore() && std::getline(lines, value);) {
            if (key == "vid") device.vid = numberOf<std::uint16_t>(value, 16);
            if (key == "pid") device.pid = numberOf<std::uint16_t>(value, 16);
            if (key == "manufacturer") device.manufacturer = value;
            if (key == "product") device.product = value;
            if (key == "serial") device.serial = value;
        }
        devices.push_back(std::move(device));
    }
}

std::vector<AttachedDevice> devicesWithoutPorts() {
    std::vector<AttachedDevice> devices = devicesOnTheBus();
    addServedDevices(devices);
    return devices;
}

/// Port numbers by device name.
using PortTable = std::map<std::string, unsigned>;

/// The table that processes share. A line is ignored if its number is out of range or is already
/// taken by an earlier line.
PortTable readTable(const SharedTable& shared) {
    PortTable table;
    std::istringstream lines(shared.read());
    std::set<unsigned> given;
    std::string name;
    for (unsigned port = 0; lines >> port >> name;)
        if (port >= firstPort && port <= lastPort && given.insert(port).second)
            table.emplace(name, port);
    return table;
}

bool isComplete(const PortTable& table, const std::vector<AttachedDevice>& devices) {
    return std::all_of(devices.begin(), devices.end(),
                       [&](const AttachedDevice& device) { return table.contains(device.name); });
}

/// Gives each attached device its old number, or else the lowest free one. Numbers of devices that
/// are gone become free.
PortTable completed(const PortTable& old, const std::vector<AttachedDevice>& devices) {
    PortTable table;
    std::set<unsigned> given;
    for (const AttachedDevice& device : devices)
        if (const auto found = old.find(device.name); found != old.end()) {
            table.insert(*found);
            given.insert(found->second);
        }
    unsigned next = firstPort;
    for (const AttachedDevice& device : devices) {
        while (given.contains(next)) ++next;
        if (next <= lastPort && table.emplace(device.name, next).second) ++next;
    }
    return table;
}

/// The port numbers of these devices. If the shared table has them all, it is read without its
/// lock. Otherwise `devices` is read anew under the lock, and the table is rewritten: with an older
/// list, a device that another process has just entered would lose its number. If the table can't
/// be locked or written, numbers are missing in the result.
PortTable agreedPorts(std::vector<AttachedDevice>& devices) {
    const SharedTable shared(tableName);
    PortTable table = readTable(shared);
    if (isComplete(table, devices)) return table;
    const SharedTable::Lock lock(shared);
    if (!lock.held()) return table;
    devices = devicesWithoutPorts();
    table = completed(readTable(shared), devices);
    std::string lines;
    for (const auto& [name, port] : table) lines += std::to_string(port) + ' ' + name + '\n';
    return shared.replace(lines) ? table : PortTable();
}

}  // namespace

std::vector<AttachedDevice> attachedDevices() {
    std::vector<AttachedDevice> devices = devicesWithoutPorts();
    if (devices.empty()) return devices;
    const PortTable ports = agreedPorts(devices);
    // A device without a number can't be opened. It is left out, and may get a number at the next
    // call.
    std::erase_if(devices,
                  [&](const AttachedDevice& device) { return !ports.contains(device.name); });
    for (AttachedDevice& device : devices) device.port = ports.at(device.name);
    std::sort(devices.begin(), devices.end(),
              [](const AttachedDevice& a, const AttachedDevice& b) { return a.port < b.port; });
    return devices;
}

std::u16string scannerPortText(const AttachedDevice& device) {
    return formatText(u"\\\\.\\Usbscan%u", device.port);
}

std::string portableDevicePath(const AttachedDevice& device) {
    char path[64];
    std::snprintf(path, sizeof path, "usb#vid_%04x&pid_%04x#%u", device.vid, device.pid,
                  device.port);
    return path;
}

std::optional<AttachedDevice> attachedDevice(std::u16string_view name) {
    constexpr std::u16string_view front = u"\\\\.\\";
    const std::u16string wanted = upperCase(name);
    for (AttachedDevice& device : attachedDevices())
        if (wanted == upperCase(scannerPortText(device)).substr(front.size()) ||
            wanted == upperCase(wideText(portableDevicePath(device))))
            return std::move(device);
    return std::nullopt;
}

}  // namespace zlk::platform

std::string deviceFolder() {
    return zlk::platform::MachineRoot::instance().folder("devices");
}
