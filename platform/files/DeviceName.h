#pragma once
// Finds out where a path text starts, by its form, and splits the rest into names. The names of
// file sinks have the form Device too; openPath() recognizes them before it uses the parsed path.
//
//     \\.\E:              Volume    the volume itself
//     \\.\..., \\?\...    Device    a device by its name
//     \\server\share\...  Share     below the mount of that share
//     E:\...  E:          Drive     below that drive's folder
//     /...  \...          Machine   a path of this machine
//     anything else       Current   from the process's current folder

#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk::platform {

struct DeviceName {
    enum class Form { Volume, Device, Share, Drive, Machine, Current };
    Form form;
    WCHAR letter = 0;  ///< of a Volume or Drive, upper case
    /// The names below the root; those of a Share begin with server and share. Empty names and `.`
    /// are left out. Below a drive or share `..` is resolved here and stops at the root; elsewhere
    /// `..` stays, because the name before it may be a link.
    std::vector<std::u16string_view> components;
};

/// Parses a path without looking at the disk. The components are views into `path`.
DeviceName parseDeviceName(std::u16string_view path);

}  // namespace zlk::platform
