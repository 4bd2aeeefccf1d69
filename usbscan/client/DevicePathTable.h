#pragma once
// Fills the table of the second driver family's cameras (DevicePathEntry in usbscan.h). Each
// process that opens the table fills it, since there is no service that could.

namespace zlk::platform {

/// Brings the table up to date with the attached devices, making it if there is none, and keeps it
/// mapped for the life of this process. Does nothing on a system of the first family. From any
/// thread and process.
void refreshDevicePathTable();

}  // namespace zlk::platform
