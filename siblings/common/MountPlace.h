#pragma once
// Finds out where a device is mounted, for the drive mapper and the card reader.

#include <string>
#include <string_view>

namespace zlk {

/// The root of an existing drive, such as `E:\`, even without a card in it; or a network path that
/// leads to an existing folder. Empty if there is neither.
///
/// The id of a drive (`#Zephyr-Lanthorn#RemovableDrive#E`, `...#CDROMDrive#F`) names a drive letter
/// or a network path itself, with `%%` for each backslash. For any other id, the place stands in
/// the key `Functions\Storage` of the device's instance, in the value `DeviceInstanceID` or, if
/// that gives no text, in `UNCPath`, as
/// - a drive letter, `E`, `E:` or `E:\`;
/// - the storage device's vendor and product, `ZL GLIMMERBOX 539`, or a device instance id that
///   contains both, `USBSTOR\DISK&VEN_ZL&PROD_GLIMMERBOX_539&REV_1.00\...`; of several drives that
///   match, the first with a card counts, or the first of all if none has a card;
/// - a network path, `\\server\share`.
std::u16string mountPlace(std::u16string_view contextId);

/// Whether files can be reached at `place`, which mountPlace() has returned: a drive must have a
/// mounted card or disc in it, and a network path must lead to a folder.
bool hasMedium(const std::u16string& place);

}  // namespace zlk
