#pragma once
// What a device host and its clients say to each other, on a Unix stream socket below
// <root>/devices/. A connection is a handle of the device.
//
//     client                    host
//     Open          ->
//                   <-          Opened, or Refused and the end
//     Write         ->                                          (not acknowledged)
//                   <-          Data, ZeroPacket, Failed        (pushed, behind a command)
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
//                   <-          Recorded                        (to each of the two)
//                   <-          Note                            (at any time)
//
// A host that is about to end closes a connection before its first byte: the client begins again.
//
// A message is a MessageHeader and `length` bytes of what stands beside its kind below. Both ends
// come out of one build and run on one machine, so numbers stand in its own order; Open carries a
// version all the same, for a host that outlives an update. Whoever receives something else than
// this page says ends the connection.
//
// A turn is what belongs to one command: the client counts it up with each Write that is a PTP
// command container, and skips what still comes of an earlier one. The bytes of one Data never go
// beyond one container or one transfer.

#include <cstddef>
#include <cstdint>

namespace zlk::usbscan {

inline constexpr std::uint32_t protocolVersion = 4;

enum class MessageKind : std::uint8_t {
    // from the client
    Open = 1,       ///< OpenRequest
    Write = 2,      ///< the bytes of one transfer
    Control = 3,    ///< ControlRequest and its input
    WaitEvent = 4,  ///< nothing
    Cancel = 5,     ///< nothing: gives up the transaction that is open on this handle
    SlotFree = 6,   ///< a u32, the slot that has been read
    Record = 7,     ///< RecordRequest and its texts; with it comes a descriptor of the file
    EndRecord = 8,  ///< nothing
    // from the host
    Opened = 65,       ///< nothing
    Refused = 66,      ///< a u32, the last error
    Data = 67,         ///< bytes
    ZeroPacket = 68,   ///< nothing: a transfer was ended by a packet of no bytes
    Failed = 69,       ///< a u32, the last error: the turn is over, or the handle dead
    ControlDone = 70,  ///< ControlAnswer and the output
    Event = 71,        ///< the event's bytes; none when the time is up
    Cancelled = 72,    ///< nothing
    Note = 73,         ///< a line for the trace, UTF-8
    Area = 74,         ///< nothing; with it comes a descriptor of areaSize bytes, sealed
    DataInArea = 75,   ///< AreaPiece: a Data whose bytes are there
    Recorded = 76,     ///< a u32, the last error: it has begun, or everything is written
};

struct MessageHeader {
    std::uint32_t length;  ///< of what follows
    MessageKind kind;
    std::uint8_t flags;
    std::uint16_t turn;  ///< of Write, Cancel, Data, ZeroPacket, Failed and Cancelled
};
static_assert(sizeof(MessageHeader) == 8);

/// Flag of Data: its container is complete and its last packet was full, so that a packet of no
/// bytes is due.
inline constexpr std::uint8_t zeroPacketDue = 1;
/// Flag of Data: the transaction's response ends here, and only a packet of no bytes may follow.
inline constexpr std::uint8_t answerEnds = 4;
/// Flag of Data: its container is complete.
inline constexpr std::uint8_t containerEnds = 8;
/// Flag of Opened: a recording of the device is under way.
inline constexpr std::uint8_t isRecorded = 16;
/// Flag of Failed: so is every later use of this handle.
inline constexpr std::uint8_t handleIsDead = 2;

struct OpenRequest {
    std::uint32_t version;
    std::uint32_t transferTimeout;  ///< ms without progress until a transfer fails
    std::uint32_t eventTimeout;     ///< ms until a wait for an event ends with none
};

struct ControlRequest {
    std::uint32_t code;        ///< IOCTL_GET_USB_DESCRIPTOR, IOCTL_GET_PIPE_CONFIGURATION
    std::uint32_t outputSize;  ///< at most that many bytes come back
    std::uint32_t question;    ///< a number, which comes back with the answer
};

struct ControlAnswer {
    std::uint32_t question;
    std::uint32_t error;  ///< the last error, or 0
};

/// A recording goes on until EndRecord, or until its connection or the device is gone. There is one
/// at a time: another is refused with ERROR_BUSY.
struct RecordRequest {
    std::uint32_t flags;
    /// Bytes of the device's texts, UTF-8, which follow one another.
    std::uint16_t manufacturer, product, serial, unused;
};
/// Flags of RecordRequest: contents of files too; nothing that belongs to the owner; until the host
/// ends, whatever becomes of the connection.
inline constexpr std::uint32_t recordPayloads = 1, recordAnonymously = 2, recordToTheEnd = 4;

/// Slots of the area: what a host may be ahead of a client in it. Into one goes what the device
/// sends in one transfer, which has room for a piece of 256 KiB and its head.
inline constexpr std::uint32_t areaSlots = 4, areaSlotSize = 272 * 1024;
inline constexpr std::uint32_t areaSize = areaSlots * areaSlotSize;

struct AreaPiece {
    std::uint32_t slot;
    std::uint32_t length;
};

/// Largest `length` of anything but Write and Data.
inline constexpr std::uint32_t maxControlMessage = 4096;
/// Largest `length` of Data.
inline constexpr std::uint32_t maxDataMessage = 1u << 20;

}  // namespace zlk::usbscan
