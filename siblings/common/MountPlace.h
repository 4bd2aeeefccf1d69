#pragma once
// Finds out where a device is mounted, for the drive mapper and the card reader.

#include <string>
#include <string_view>

namespace zlk {

/// The root of an existing drive (`E:\`, with a card in it or not), or a network path that leads to
/// an existing folder. Empty if the device isn't mounted.
///
/// The id of a drive (`#Zephyr-Lanthorn#RemovableDrive#E`, `...#CDROMDrive#F`) names the place
/// itself. For any other id, the key `Functions\Storage` of the instance has it in the value
/// `DeviceInstanceID`, or in `UNCPath` if the former is missing or empty, as
/// - a drive letter, `E`, `E:` or `E:\`;
/// - the storage device's vendor and product, `ZL GLIMMERBOX 539`, or a device instance id that
///   contains both, `USBSTOR\DISK&VEN_ZL&PROD_GLIMMERBOX_539&REV_1.00\...`; of several such drives
///   the first with a card counts, or simply the first if none has one;
/// - a network path, `\\server\share`.
std::u16string mountPlace(std::u16string_view contextId);

/// Whether there is a medium at a place that mountPlace() has returned.
bool hasMedium(const std::u16string& place);

}  // namespace zlk
