#pragma once
// Who fills the second family's table of cameras (DevicePathEntry): whatever process opens it.

namespace zlk::platform {

/// Brings the table up to date with what is attached, making it if there is none, and keeps it for
/// the life of this process. Does nothing on a system of the first family.
void refreshDevicePathTable();

}  // namespace zlk::platform
