#pragma once
// Control codes of still-image devices, and their records. A camera that the first driver family
// drives is opened as `\\.\Usbscan<n>`, one of the second by its device path behind `\\?\`.

#include <memory>
#include <string>
#include <vector>

#include "platform/types.h"

inline constexpr DWORD IOCTL_CANCEL_IO = 0x80002004;             ///< in: DWORD, which pipes
inline constexpr DWORD IOCTL_WAIT_ON_DEVICE_EVENT = 0x80002008;  ///< out: an event's bytes
inline constexpr DWORD IOCTL_GET_USB_DESCRIPTOR = 0x80002020;    ///< in: USBSCAN_GET_DESCRIPTOR
inline constexpr DWORD IOCTL_GET_PIPE_CONFIGURATION = 0x80002028;

inline constexpr DWORD USBSCAN_ALL_PIPES = 3;  ///< for IOCTL_CANCEL_IO
inline constexpr DWORD USBSCAN_PIPE_BULK = 2;

struct USBSCAN_PIPE_INFORMATION {
    std::uint16_t MaximumPacketSize;
    BYTE EndpointAddress;
    BYTE Interval;
    DWORD PipeType;
};
struct USBSCAN_PIPE_CONFIGURATION {
    DWORD NumberOfPipes;
    USBSCAN_PIPE_INFORMATION PipeInfo[8];
};
static_assert(sizeof(USBSCAN_PIPE_CONFIGURATION) == 68);

struct USBSCAN_GET_DESCRIPTOR {
    BYTE DescriptorType;  ///< 1: the device's
    BYTE Index;
    std::uint16_t LanguageId;
};
static_assert(sizeof(USBSCAN_GET_DESCRIPTOR) == 4);

/// A device descriptor of the USB standard, little-endian.
struct USB_DEVICE_DESCRIPTOR {
    BYTE bLength;
    BYTE bDescriptorType;
    std::uint16_t bcdUSB;
    BYTE bDeviceClass;
    BYTE bDeviceSubClass;
    BYTE bDeviceProtocol;
    BYTE bMaxPacketSize0;
    std::uint16_t idVendor;
    std::uint16_t idProduct;
    std::uint16_t bcdDevice;
    BYTE iManufacturer;
    BYTE iProduct;
    BYTE iSerialNumber;
    BYTE bNumConfigurations;
};
static_assert(sizeof(USB_DEVICE_DESCRIPTOR) == 18);

/// Of the second family: nothing in; a device descriptor, and a DWORD, out.
inline constexpr DWORD ZL_IOCTL_GET_DEVICE_DESCRIPTOR = 0xF1006000;
inline constexpr DWORD ZL_IOCTL_GET_MAX_PACKET_SIZE = 0xF100A004;

/// The table of the second family's cameras: a section of that name, a count in its first byte and
/// the entries packed behind it. Whoever opens it finds the attached cameras in it. Entries keep
/// their places and transaction ids while any process has it; one of an unplugged camera has ids
/// of 0.
inline constexpr WCHAR devicePathTableName[] = u"Global\\ZlPtpWPDHandlesToCameras";
inline constexpr DWORD devicePathTableSize = 4096;
struct DevicePathEntry {
    std::uint32_t state;  ///< 1 in a new entry
    char port[120];       ///< the device path without `\\?\`, zero-terminated
    std::uint32_t transactionID;
    std::uint32_t vid;
    std::uint32_t pid;
    std::uint8_t unused[120];
} __attribute__((packed));
static_assert(sizeof(DevicePathEntry) == 256);

#pragma GCC visibility push(default)

/// A still-image device that is attached, whether or not anything here knows its model.
struct AttachedCamera {
    std::u16string port;        ///< opens it on the first family: `\\.\Usbscan<n>`
    std::u16string devicePath;  ///< on the second, behind `\\?\`
    std::uint16_t vid;
    std::uint16_t pid;
    std::u16string manufacturer, product, serial;  ///< as the device says; may be empty
    /// A program outside of this system that has it open, as far as this user may look; 0 if none
    /// is seen. While it has, opening fails with ERROR_SHARING_VIOLATION.
    DWORD holderProcess;
    std::u16string holderProgram;
    bool accessible;  ///< false: this user may not read and write its device node
};

/// By port. Throws std::bad_alloc.
std::vector<AttachedCamera> attachedCameras();

/// What goes over a camera's pipes, as a file in the form pcapng: the camera's host writes it,
/// until it is told to end or this object goes. docs/protocol.md tells what stands in it.
class CameraRecording {
  public:
    static constexpr DWORD withPayloads = 1;  ///< the contents of files too
    static constexpr DWORD anonymous = 2;     ///< without serial number, names and owner's texts

    /// `port` as in AttachedCamera, of either family; `file` an empty one that is open for writing,
    /// which may be closed then. Null with the last error: one of opening the camera, or ERROR_BUSY
    /// where it is recorded already.
    static std::unique_ptr<CameraRecording> begin(const std::u16string& port, HANDLE file,
                                                  DWORD options);
    ~CameraRecording();

    /// Returns when all is written. False with the last error where something isn't:
    /// ERROR_DISK_FULL, ERROR_SEM_TIMEOUT (the disk was too slow), ERROR_IO_DEVICE, or
    /// ERROR_DEVICE_NOT_CONNECTED (the camera is gone; what it did until then is there).
    bool end();

  private:
    struct Impl;
    explicit CameraRecording(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

/// The folder in which processes that serve a device are found, made if missing; empty with the
/// last error.
std::string deviceFolder();

#pragma GCC visibility pop
