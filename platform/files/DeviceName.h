#pragma once
// The forms of path text, told apart in one place.
//
//     \\.\E:              Volume    the volume itself
//     \\.\..., \\?\...    Device    a device by its name
//     \\server\share\...  Share     below the mount of that share
//     E:\...  E:          Drive     below that drive's folder
//     /...  \...          Machine   a path of this machine, to the letter
//     anything else       Current   from the process's current folder, to the letter

#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk::platform {

struct DeviceName {
    enum class Form { Volume, Device, Share, Drive, Machine, Current };
    Form form;
    WCHAR letter = 0;  ///< of a Volume or Drive, upper case
    /// What lies below the root; those of a Share begin with server and share. Empty ones and `.`
    /// are left out. Below a drive or share `..` is resolved in the text and ends at the root;
    /// elsewhere it is the file system's.
    std::vector<std::u16string_view> components;
};

/// The views are into `path`.
DeviceName parseDeviceName(std::u16string_view path);

}  // namespace zlk::platform
