#pragma once
// The still-image devices that are attached: those on the bus, as the kernel tells of them, and
// those that a process serves (host/DeviceEntry.h). Each has a port number, agreed between the
// processes of the machine, which it keeps while it is attached.
//
// Numbers have four digits, so that none is the beginning of another: port texts are compared by
// their beginnings. The lowest free one is given, since a table of ports has few places.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk::platform {

inline constexpr unsigned firstPort = 1000, lastPort = 9999;

struct AttachedDevice {
    std::string name;  ///< of its files in <root>/devices/; `usb-BBB-DDD` for one on the bus
    std::string node;  ///< its device node; empty for one that a process serves
    std::uint16_t vid = 0, pid = 0;
    std::string manufacturer, product, serial;  ///< as the device says: hostile
    unsigned port = 0;
};

/// Where devices on the bus are found: /sys/bus/usb/devices.
std::vector<AttachedDevice> attachedDevices();

/// The text that opens a device, on the first family and on the second.
std::u16string scannerPortText(const AttachedDevice& device);
std::string portableDevicePath(const AttachedDevice& device);
/// The device that such a text opens, in any case and without the front `\\.\` or `\\?\`. One
/// that had the same port earlier has another path.
std::optional<AttachedDevice> attachedDevice(std::u16string_view name);

}  // namespace zlk::platform
