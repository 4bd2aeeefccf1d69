#pragma once
// The interface of the driver of still-image devices (PTP cameras on USB): its control codes and
// their records, which devices are attached, and the recording of what goes over a camera's pipes.
//
// A camera is opened with CreateFileW under one of two names, one for each of the two driver
// families: `\\.\Usbscan<n>`, or `\\?\` and a device path. WriteFile on that handle is a bulk
// transfer to the camera, and doesn't wait until the camera has taken the bytes. ReadFile waits for
// bytes of one PTP container, or for a zero-length packet. DeviceIoControl takes the codes below.
// Every call may be made from any thread. CreateFileW fails with ERROR_SHARING_VIOLATION if another
// program has claimed the camera, with ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, and others.

#include <memory>
#include <string>
#include <vector>

#include "platform/types.h"

/// IOCTL_CANCEL_IO gives up the open transaction as a whole, whichever pipes its input names, and
/// doesn't wait for the camera. IOCTL_WAIT_ON_DEVICE_EVENT blocks until the next event, and returns
/// no bytes if none comes within the time that the setting `EventTimeout` (ms) allows.
/// IOCTL_CANCEL_IO ends this wait with ERROR_OPERATION_ABORTED. IOCTL_GET_PIPE_CONFIGURATION
/// returns a USBSCAN_PIPE_CONFIGURATION.
inline constexpr DWORD IOCTL_CANCEL_IO = 0x80002004;             ///< in: DWORD, which pipes
inline constexpr DWORD IOCTL_WAIT_ON_DEVICE_EVENT = 0x80002008;  ///< out: an event's bytes
inline constexpr DWORD IOCTL_GET_USB_DESCRIPTOR = 0x80002020;    ///< in: USBSCAN_GET_DESCRIPTOR
inline constexpr DWORD IOCTL_GET_PIPE_CONFIGURATION = 0x80002028;

inline constexpr DWORD USBSCAN_ALL_PIPES = 3;  ///< for IOCTL_CANCEL_IO
inline constexpr DWORD USBSCAN_PIPE_BULK = 2;

/// One endpoint of the camera. MaximumPacketSize is in bytes, Interval as in the endpoint's
/// descriptor.
struct USBSCAN_PIPE_INFORMATION {
    std::uint16_t MaximumPacketSize;
    BYTE EndpointAddress;
    BYTE Interval;
    DWORD PipeType;  ///< USBSCAN_PIPE_BULK, or 3 for the interrupt pipe
};
/// Bulk-in comes first, then bulk-out, then the interrupt pipe if the camera has one.
struct USBSCAN_PIPE_CONFIGURATION {
    DWORD NumberOfPipes;
    USBSCAN_PIPE_INFORMATION PipeInfo[8];
};
static_assert(sizeof(USBSCAN_PIPE_CONFIGURATION) == 68);

/// Input of IOCTL_GET_USB_DESCRIPTOR: the fields of a standard GET_DESCRIPTOR request. At most 255
/// bytes of the descriptor are returned.
struct USBSCAN_GET_DESCRIPTOR {
    BYTE DescriptorType;  ///< 1: the device descriptor
    BYTE Index;
    std::uint16_t LanguageId;
};
static_assert(sizeof(USBSCAN_GET_DESCRIPTOR) == 4);

/// The device descriptor of the USB standard, little-endian.
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

/// Control codes of the second family. They take no input. The first returns a
/// USB_DEVICE_DESCRIPTOR, the second a DWORD: the bytes in a packet of the bulk-in pipe.
inline constexpr DWORD ZL_IOCTL_GET_DEVICE_DESCRIPTOR = 0xF1006000;
inline constexpr DWORD ZL_IOCTL_GET_MAX_PACKET_SIZE = 0xF100A004;

/// The table of the second family's cameras: a named section that holds a count in its first byte
/// and then the packed entries. OpenFileMappingW brings the table up to date: the attached cameras
/// get entries as far as there is room, and the entries of unplugged cameras get a vid and pid of
/// 0. An entry keeps its place and its transaction id while any process has the section open.
inline constexpr WCHAR devicePathTableName[] = u"Global\\ZlPtpWPDHandlesToCameras";
inline constexpr DWORD devicePathTableSize = 4096;
struct DevicePathEntry {
    std::uint32_t state;          ///< 1 in a new entry
    char port[120];               ///< the device path without `\\?\`, zero-terminated
    std::uint32_t transactionID;  ///< of the next command; the camera's users store it
    std::uint32_t vid;
    std::uint32_t pid;
    std::uint8_t unused[120];
} __attribute__((packed));
static_assert(sizeof(DevicePathEntry) == 256);

#pragma GCC visibility push(default)

/// An attached still-image device, of any model.
struct AttachedCamera {
    std::u16string port;        ///< the name that opens it on the first family: `\\.\Usbscan<n>`
    std::u16string devicePath;  ///< the name on the second family, without its front `\\?\`
    std::uint16_t vid;
    std::uint16_t pid;
    std::u16string manufacturer, product, serial;  ///< as the device says; may be empty
    /// Id of a foreign process that has the device node open. 0 if none was found; a process that
    /// this user may not look into isn't found. While another process has the node open, opening
    /// the camera may fail with ERROR_SHARING_VIOLATION.
    DWORD holderProcess;
    std::u16string holderProgram;  ///< name of holderProcess; empty if none was found
    bool accessible;               ///< false: this user may not read and write its device node
};

/// The attached cameras, sorted by port. From any thread. Throws std::bad_alloc.
std::vector<AttachedCamera> attachedCameras();

/// A recording of what goes over a camera's pipes, in the file format pcapng. The camera's host
/// writes it; end() or the destructor ends it. docs/protocol.md describes its contents.
class CameraRecording {
  public:
    static constexpr DWORD withPayloads = 1;  ///< the contents of files too
    static constexpr DWORD anonymous = 2;     ///< without serial number, names and owner's texts

    /// `port` is the name of a camera in either family's form, with `\\.\` or `\\?\` in front.
    /// `file` is an empty regular file, open for writing; the host gets a duplicate, so the caller
    /// may close its handle. `options` are the flags above. Null with the last error, among others
    /// ERROR_BUSY if the camera is being recorded already, ERROR_INVALID_HANDLE or
    /// ERROR_INVALID_PARAMETER for a wrong `file`, or an error of opening the camera.
    static std::unique_ptr<CameraRecording> begin(const std::u16string& port, HANDLE file,
                                                  DWORD options);
    /// Ends the recording without waiting for its last bytes.
    ~CameraRecording();

    /// Ends the recording and blocks until all of it is written. False with the last error, among
    /// others ERROR_DEVICE_NOT_CONNECTED if the camera is gone. The error is ERROR_DISK_FULL,
    /// ERROR_SEM_TIMEOUT (the disk was too slow) or ERROR_IO_DEVICE if part of it is missing.
    bool end();

  private:
    struct Impl;
    explicit CameraRecording(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

/// The folder in which the processes that serve devices leave their sockets and locks. It is made
/// if it is missing; empty with the last error if that fails.
std::string deviceFolder();

#pragma GCC visibility pop
