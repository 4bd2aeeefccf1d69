#include "usbscan/recording/ContainerText.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace zlk::usbscan {
namespace {

constexpr std::size_t headSize = 12, mostParameters = 5;
// Names by code: operations begin at 0x1000, responses at 0x2000, events at 0x4000.
constexpr std::array<std::string_view, 0x1D> operations{"",
                                                        "GetDeviceInfo",
                                                        "OpenSession",
                                                        "CloseSession",
                                                        "GetStorageIDs",
                                                        "GetStorageInfo",
                                                        "GetNumObjects",
                                                        "GetObjectHandles",
                                                        "GetObjectInfo",
                                                        "GetObject",
                                                        "GetThumb",
                                                        "DeleteObject",
                                                        "SendObjectInfo",
                                                        "SendObject",
                                                        "InitiateCapture",
                                                        "FormatStore",
                                                        "ResetDevice",
                                                        "SelfTest",
                                                        "SetObjectProtection",
                                                        "PowerDown",
                                                        "GetDevicePropDesc",
                                                        "GetDevicePropValue",
                                                        "SetDevicePropValue",
                                                        "ResetDevicePropValue",
                                                        "TerminateOpenCapture",
                                                        "MoveObject",
                                                        "CopyObject",
                                                        "GetPartialObject",
                                                        "InitiateOpenCapture"};
constexpr std::array<std::string_view, 0x21> responses{"",
                                                       "OK",
                                                       "GeneralError",
                                                       "SessionNotOpen",
                                                       "InvalidTransactionID",
                                                       "OperationNotSupported",
                                                       "ParameterNotSupported",
                                                       "IncompleteTransfer",
                                                       "InvalidStorageID",
                                                       "InvalidObjectHandle",
                                                       "DevicePropNotSupported",
                                                       "InvalidObjectFormatCode",
                                                       "StoreFull",
                                                       "ObjectWriteProtected",
                                                       "StoreReadOnly",
                                                       "AccessDenied",
                                                       "NoThumbnailPresent",
                                                       "SelfTestFailed",
                                                       "PartialDeletion",
                                                       "StoreNotAvailable",
                                                       "SpecificationByFormatUnsupported",
                                                       "NoValidObjectInfo",
                                                       "InvalidCodeFormat",
                                                       "UnknownVendorCode",
                                                       "CaptureAlreadyTerminated",
                                                       "DeviceBusy",
                                                       "InvalidParentObject",
                                                       "InvalidDevicePropFormat",
                                                       "InvalidDevicePropValue",
                                                       "InvalidParameter",
                                                       "SessionAlreadyOpen",
                                                       "TransactionCancelled",
                                                       "SpecificationOfDestinationUnsupported"};
constexpr std::array<std::string_view, 0x0F> events{"",
                                                    "CancelTransaction",
                                                    "ObjectAdded",
                                                    "ObjectRemoved",
                                                    "StoreAdded",
                                                    "StoreRemoved",
                                                    "DevicePropChanged",
                                                    "ObjectInfoChanged",
                                                    "DeviceInfoChanged",
                                                    "RequestObjectTransfer",
                                                    "StoreFull",
                                                    "DeviceReset",
                                                    "StorageInfoChanged",
                                                    "CaptureComplete",
                                                    "UnreportedStatus"};

std::uint32_t number(std::span<const std::byte> bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::to_integer<std::uint32_t>(bytes[at + i]) << (8 * i);
    return value;
}

std::string hex(std::uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, value);
    return text;
}

/// The name of a code of the standard; empty for any other.
std::string_view nameOf(std::uint16_t code) {
    const std::span<const std::string_view> names =
        code >> 12 == 1   ? std::span<const std::string_view>(operations)
        : code >> 12 == 2 ? std::span<const std::string_view>(responses)
        : code >> 12 == 4 ? std::span<const std::string_view>(events)
                          : std::span<const std::string_view>();
    const std::size_t row = code & 0xFFF;
    return row < names.size() ? names[row] : std::string_view();
}

}  // namespace

std::string codeText(std::uint16_t code) {
    const std::string_view name = nameOf(code);
    return name.empty() ? hex(code, 4) : std::string(name) + " (" + hex(code, 4) + ")";
}

std::string containerText(std::span<const std::byte> beginning) {
    if (beginning.size() < headSize) return std::to_string(beginning.size()) + " bytes";
    const std::uint32_t length = number(beginning, 0, 4), type = number(beginning, 4, 2);
    const std::string text = codeText(static_cast<std::uint16_t>(number(beginning, 6, 2))) +
                             ", transaction " + std::to_string(number(beginning, 8, 4));
    if (type == 2) return "Data of " + text + ", " + std::to_string(length) + " bytes";
    if (type != 1 && type != 3 && type != 4)
        return "A container of type " + std::to_string(type) + ", " + text;
    // Commands, responses and events have up to five parameters, as many as their length has room
    // for.
    std::string parameters;
    const std::size_t end = std::min<std::size_t>(std::min<std::size_t>(length, beginning.size()),
                                                  headSize + 4 * mostParameters);
    for (std::size_t at = headSize; at + 4 <= end; at += 4)
        parameters += (parameters.empty() ? ": " : ", ") + hex(number(beginning, at, 4), 8);
    return text + parameters;
}

std::string classRequestText(std::span<const std::byte, 8> setup, std::span<const std::byte> data) {
    const std::uint32_t type = number(setup, 0, 1), request = number(setup, 1, 1);
    // 0x21 and 0xA1 are the types of class requests to the interface, with data to the device and
    // from it. The request codes are those of the USB still image class.
    if (type == 0x21 && request == 0x64)
        return data.size() < 6 ? "Cancel"
                               : "Cancel transaction " + std::to_string(number(data, 2, 4));
    if (type == 0x21 && request == 0x66) return "Device reset";
    if (type == 0xA1 && request == 0x67)
        return data.size() < 4
                   ? "Device status"
                   : "Device status: " + codeText(static_cast<std::uint16_t>(number(data, 2, 2)));
    return {};
}

}  // namespace zlk::usbscan
