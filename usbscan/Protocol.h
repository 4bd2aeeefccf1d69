#pragma once
// The messages between a device host and its clients, on a Unix stream socket below
// <root>/devices/. Each CameraHandle of a client has a connection of its own.
//
//     client                    host
//     Open          ->
//                   <-          Opened, or Refused and the end
//     Write         ->                                          (not acknowledged)
//                   <-          Data, ZeroPacket, Failed        (pushed after a command)
//                   <-          Area, once; then also DataInArea
//     SlotFree      ->
//     Control       ->
//                   <-          ControlDone
//     WaitEvent     ->
//                   <-          Event
//     Cancel        ->
//                   <-          Cancelled
//     Record        ->
//     EndRecord     ->
//                   <-          Recorded                        (to Record and to EndRecord)
//                   <-          Note, or Failed for a dead handle  (at any time)
//
// A host that is about to end may close a new connection without Opened or Refused; the client then
// connects again.
//
// A message is a MessageHeader, followed by `length` bytes of what stands beside its kind below.
// Both ends run on one machine, so numbers have its byte order. Open carries a version, since a
// host may outlive an update of its clients. Either end gives up the connection when a message is
// too long for its kind. A host also gives up the connection for a message of a kind that it
// doesn't expect, except for a Write before Open, which it answers with Failed. A client skips
// kinds that it doesn't expect.
//
// A turn is everything that belongs to one PTP command. The client increments its turn number with
// each Write that begins with a command container, and skips messages that still arrive for an
// earlier turn. The bytes of one Data belong to one container and to one USB transfer.

#include <cstddef>
#include <cstdint>

namespace zlk::usbscan {

/// Grows with every change to the messages. A host closes a connection of another version.
inline constexpr std::uint32_t protocolVersion = 4;

enum class MessageKind : std::uint8_t {
    // from the client
    Open = 1,       ///< OpenRequest
    Write = 2,      ///< the bytes of one transfer
    Control = 3,    ///< ControlRequest, and the input of the request
    WaitEvent = 4,  ///< nothing
    Cancel = 5,     ///< nothing: gives up this handle's open transaction, and its WaitEvent
    SlotFree = 6,   ///< a u32, the slot that has been read
    Record = 7,     ///< RecordRequest and its texts; with it comes a descriptor of the file
    EndRecord = 8,  ///< nothing
    // from the host
    Opened = 65,       ///< nothing
    Refused = 66,      ///< a u32, the last error with which opening fails
    Data = 67,         ///< bytes
    ZeroPacket = 68,   ///< nothing: the device sent a zero-length packet
    Failed = 69,       ///< a u32, the last error: the turn is over, or the handle dead
    ControlDone = 70,  ///< ControlAnswer and the output
    Event = 71,        ///< the event's bytes; none when the time is up
    Cancelled = 72,    ///< nothing
    Note = 73,         ///< a line for the trace, UTF-8
    Area = 74,         ///< nothing; with it comes a sealed descriptor of areaSize bytes of memory
    DataInArea = 75,   ///< AreaPiece: a Data whose bytes lie in the shared area
    Recorded = 76,     ///< a u32: 0 if the recording has begun or is complete, or the last error
};

struct MessageHeader {
    std::uint32_t length;  ///< bytes that follow this header
    MessageKind kind;
    std::uint8_t flags;
    std::uint16_t turn;  ///< of Write, Cancel, Data, DataInArea, ZeroPacket, Failed, Cancelled
};
static_assert(sizeof(MessageHeader) == 8);

/// Flag of Data: its container is complete and filled its last packet, so the device should end the
/// transfer with a zero-length packet.
inline constexpr std::uint8_t zeroPacketDue = 1;
/// Flag of Data: the transaction's response ends here. At most a zero-length packet may follow.
inline constexpr std::uint8_t answerEnds = 4;
/// Flag of Data: its container is complete.
inline constexpr std::uint8_t containerEnds = 8;
/// Flag of Opened: a recording of the device is under way.
inline constexpr std::uint8_t isRecorded = 16;
/// Flag of Failed: this handle fails from now on with the same error, whatever it is used for.
inline constexpr std::uint8_t handleIsDead = 2;

/// The first message on a connection. Its time-outs hold for this client alone.
struct OpenRequest {
    std::uint32_t version;
    std::uint32_t transferTimeout;  ///< ms without progress until a transfer fails
    std::uint32_t eventTimeout;     ///< ms until a wait for an event ends with none
};

struct ControlRequest {
    std::uint32_t code;        ///< IOCTL_GET_USB_DESCRIPTOR or IOCTL_GET_PIPE_CONFIGURATION
    std::uint32_t outputSize;  ///< at most that many bytes of a descriptor come back
    std::uint32_t question;    ///< a number, which comes back with the answer
};

struct ControlAnswer {
    std::uint32_t question;
    std::uint32_t error;  ///< the last error, or 0
};

/// Asks for a recording of the device in the file that comes along. A device has one recording at a
/// time; until it is over, further requests are refused with ERROR_BUSY. EndRecord, or the end of
/// the connection, ends the recording unless recordToTheEnd is set.
struct RecordRequest {
    std::uint32_t flags;
    /// Lengths in bytes of the device's texts, UTF-8, which follow the request one after another.
    std::uint16_t manufacturer, product, serial, unused;
};
/// Flags of RecordRequest. recordPayloads: the contents of files are recorded too.
/// recordAnonymously: the owner's texts are hidden, and recordPayloads has no effect.
/// recordToTheEnd: the recording goes on until the host ends.
inline constexpr std::uint32_t recordPayloads = 1, recordAnonymously = 2, recordToTheEnd = 4;

/// The number of slots in the shared area, and the bytes in each. A container with 256 KiB of a
/// picture fits into one slot.
inline constexpr std::uint32_t areaSlots = 4, areaSlotSize = 272 * 1024;
inline constexpr std::uint32_t areaSize = areaSlots * areaSlotSize;

/// Where the bytes of a DataInArea lie. The client owns the slot until it sends SlotFree.
struct AreaPiece {
    std::uint32_t slot;    ///< below areaSlots
    std::uint32_t length;  ///< from 1 to areaSlotSize
};

/// Bytes of a PTP container's header (USB still image class).
inline constexpr std::uint32_t containerHeaderSize = 12;

/// Largest `length` of anything but Write and Data.
inline constexpr std::uint32_t maxControlMessage = 4096;
/// Largest `length` of Data.
inline constexpr std::uint32_t maxDataMessage = 1u << 20;

}  // namespace zlk::usbscan
