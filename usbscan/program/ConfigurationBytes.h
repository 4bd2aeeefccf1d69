#pragma once
// Puts the descriptors of a USB configuration together again, for the head of a recording.

#include <libusb.h>

#include <cstddef>
#include <vector>

namespace zlk::usbscan {

/// The configuration's descriptors as bytes. libusb keeps only their fields.
std::vector<std::byte> configurationBytes(const libusb_config_descriptor& configuration);

}  // namespace zlk::usbscan
