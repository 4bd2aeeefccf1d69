#pragma once
// Where a device is mounted, by its context id: what the drive mapper and the card reader share.

#include <string>
#include <string_view>

namespace zlk {

/// The root of a drive that there is now (`E:\`, with a card or without), a network path that
/// leads to a folder now, or the empty text.
///
/// An id of a drive (`#Zephyr-Lanthorn#RemovableDrive#E`, `...#CDROMDrive#F`) names it itself. For
/// any other, the instance's key `Functions\Storage` tells by its value `DeviceInstanceID`, or
/// `UNCPath` where that is missing or empty:
/// - a drive letter, `E`, `E:` or `E:\`;
/// - the storage device's vendor and product, `ZL GLIMMERBOX 539`, or a device instance id with
///   both in it, `USBSTOR\DISK&VEN_ZL&PROD_GLIMMERBOX_539&REV_1.00\...`; of several such drives,
///   the first one with a card;
/// - a network path, `\\server\share`.
std::u16string mountPlace(std::u16string_view contextId);

/// Whether there is a medium at a place that `mountPlace` gave.
bool hasMedium(const std::u16string& place);

}  // namespace zlk
