#pragma once

#include <libusb.h>

#include <cstddef>
#include <vector>

namespace zlk::usbscan {

/// A configuration's descriptors as the device gave them, which libusb takes apart.
std::vector<std::byte> configurationBytes(const libusb_config_descriptor& configuration);

}  // namespace zlk::usbscan
