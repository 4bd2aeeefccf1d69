#pragma once
// The codes of ISO 15740 that the virtual camera knows, and those of its maker.

#include <array>
#include <cstddef>
#include <cstdint>

namespace zlk::camsim {

using Code = std::uint16_t;

namespace operation {
inline constexpr Code GetDeviceInfo = 0x1001, OpenSession = 0x1002, CloseSession = 0x1003,
                      GetStorageIDs = 0x1004, GetStorageInfo = 0x1005, GetNumObjects = 0x1006,
                      GetObjectHandles = 0x1007, GetObjectInfo = 0x1008, GetObject = 0x1009,
                      GetThumb = 0x100A, DeleteObject = 0x100B, SendObjectInfo = 0x100C,
                      SendObject = 0x100D, ResetDevice = 0x1010, SetObjectProtection = 0x1012,
                      GetDevicePropDesc = 0x1014, GetDevicePropValue = 0x1015,
                      SetDevicePropValue = 0x1016, ResetDevicePropValue = 0x1017,
                      GetPartialObject = 0x101B;
/// Questions to a dock about the camera that is plugged into it. PressSaveButton also counts as a
/// press of the dock's button.
inline constexpr Code ConnectedCamera = 0x9700, PressSaveButton = 0x9701, ConnectedCamera2 = 0x9702;

constexpr bool isVendor(Code code) {
    return code >= 0x9000 && code < 0xA000;
}

/// The number of parameters that ISO 15740 gives an operation from 0x1001 to 0x101C; 0 for other
/// operations.
constexpr std::size_t parameterCount(Code code) {
    constexpr std::array<std::uint8_t, 28> counts{0, 1, 0, 0, 1, 3, 3, 1, 1, 1, 2, 2, 0, 2,
                                                  2, 0, 1, 2, 0, 1, 1, 1, 1, 1, 3, 3, 3, 2};
    const std::size_t row = code - std::size_t{GetDeviceInfo};
    return row < counts.size() ? counts[row] : 0;
}
}  // namespace operation

namespace response {
inline constexpr Code OK = 0x2001, GeneralError = 0x2002, SessionNotOpen = 0x2003,
                      InvalidTransactionID = 0x2004, OperationNotSupported = 0x2005,
                      IncompleteTransfer = 0x2007, InvalidStorageID = 0x2008,
                      InvalidObjectHandle = 0x2009, DevicePropNotSupported = 0x200A,
                      StoreFull = 0x200C, ObjectWriteProtected = 0x200D, AccessDenied = 0x200F,
                      NoThumbnailPresent = 0x2010, PartialDeletion = 0x2012,
                      SpecificationByFormatUnsupported = 0x2014, NoValidObjectInfo = 0x2015,
                      DeviceBusy = 0x2019, InvalidParentObject = 0x201A,
                      InvalidDevicePropValue = 0x201C, InvalidParameter = 0x201D,
                      SessionAlreadyOpen = 0x201E, TransactionCancelled = 0x201F;
}  // namespace response

namespace event {
inline constexpr Code ObjectAdded = 0x4002, ObjectRemoved = 0x4003, StoreRemoved = 0x4005;
}

namespace property {
inline constexpr Code BatteryLevel = 0x5001, DateTime = 0x5011;
}

namespace format {
inline constexpr Code Undefined = 0x3000, Association = 0x3001, Script = 0x3002, Text = 0x3004,
                      Html = 0x3005, Dpof = 0x3006, Wav = 0x3008, Mp3 = 0x3009, Avi = 0x300A,
                      Mpeg = 0x300B, QuickTime = 0x300D, ExifJpeg = 0x3801, Bmp = 0x3804,
                      Gif = 0x3807, Jfif = 0x3808, Png = 0x380B, Tiff = 0x380D;

constexpr bool isImage(Code code) {
    return (code & 0xF800) == 0x3800;
}
}  // namespace format

/// As a parameter this stands for all storages, objects or properties. As the format of a listing
/// it stands for all formats of pictures.
inline constexpr std::uint32_t everything = 0xFFFFFFFF;
/// In the parameter of a parent: the root of the storage.
inline constexpr std::uint32_t rootParent = 0xFFFFFFFF;

}  // namespace zlk::camsim
