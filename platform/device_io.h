#pragma once
// Control codes for open devices: the call that sends one, and the code that storage devices
// answer, with its records. The codes of cameras are in their driver's header.

#include "platform/error.h"
#include "platform/types.h"

// Asks a storage device who made it: STORAGE_PROPERTY_QUERY in, STORAGE_DEVICE_DESCRIPTOR out.
inline constexpr DWORD IOCTL_STORAGE_QUERY_PROPERTY = 0x2D1400;

/// The input of IOCTL_STORAGE_QUERY_PROPERTY. Each number may only have the value named here.
struct STORAGE_PROPERTY_QUERY {
    DWORD PropertyId;  ///< 0: StorageDeviceProperty
    DWORD QueryType;   ///< 0: PropertyStandardQuery
    BYTE AdditionalParameters[4];
};
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);

/// The output of IOCTL_STORAGE_QUERY_PROPERTY. The texts follow the record: 8-bit, with a
/// terminator. A text's offset is in bytes from the record's start, and 0 if the text isn't there.
struct STORAGE_DEVICE_DESCRIPTOR {
    DWORD Version;
    DWORD Size;  ///< of the whole record with its texts
    BYTE DeviceType;
    BYTE DeviceTypeModifier;
    BYTE RemovableMedia;
    BYTE CommandQueueing;
    DWORD VendorIdOffset;
    DWORD ProductIdOffset;
    DWORD ProductRevisionOffset;
    DWORD SerialNumberOffset;
    DWORD BusType;
    DWORD RawPropertiesLength;
};
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) == 36);

#pragma GCC visibility push(default)

/// Sends a control code to an open device, on any thread. A volume answers
/// IOCTL_STORAGE_QUERY_PROPERTY with the vendor and product of its storage device; the codes of a
/// camera's pipes are documented by its driver. Sizes are in bytes; *returned (required) receives
/// the bytes written to `output`; `overlapped` is ignored. A volume's last errors are
/// ERROR_NOT_SUPPORTED (another code or query), ERROR_INVALID_PARAMETER (an input of the wrong
/// size), ERROR_INSUFFICIENT_BUFFER and ERROR_NOT_ENOUGH_MEMORY. An open folder takes no codes
/// (ERROR_NOT_SUPPORTED). ERROR_INVALID_PARAMETER for a null `returned`, and ERROR_INVALID_HANDLE
/// for a handle of anything but a volume, a camera or a folder.
BOOL DeviceIoControl(HANDLE device, DWORD code, const void* input, DWORD inputSize, void* output,
                     DWORD outputSize, DWORD* returned, void* overlapped) noexcept;

#pragma GCC visibility pop
