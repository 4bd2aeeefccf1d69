#pragma once
// Puts the descriptors of a USB configuration together again, for the head of a recording.

#include <libusb.h>

#include <cstddef>
#include <vector>

namespace zlk::usbscan {

/// The bytes of the configuration's descriptors, which libusb only has taken apart.
std::vector<std::byte> configurationBytes(const libusb_config_descriptor& configuration);

}  // namespace zlk::usbscan
