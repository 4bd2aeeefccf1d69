#pragma once
// The object that a handle of a still-image device stands for: a connection to the device's host.
//
// A turn is everything that belongs to one PTP command (Protocol.h). Writes are not acknowledged.
// If the device doesn't take the bytes, a later read of that turn fails. Once a turn has failed,
// its further reads fail with ERROR_OPERATION_ABORTED, or with the handle's own error if the handle
// is dead. A request that waits for the host drops the data that comes before the answer.
//
// Any thread may call any function. Lock order: `asking_`, then either `sending_` or `receiving_`.

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

#include "platform/base/ForkMark.h"
#include "platform/base/Handle.h"
#include "platform/files/FileHandle.h"
#include "usbscan/client/AnswerProgress.h"
#include "usbscan/client/AttachedDevices.h"
#include "usbscan/client/HostLink.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {

class CameraHandle final : public Handle {
  public:
    /// Takes a link on which the host has answered Opened.
    explicit CameraHandle(std::unique_ptr<HostLink> link) : link_(std::move(link)) {}

    /// Has the host record what goes over the device's pipes into the file, from now on. `flags`
    /// are those of usbscan::RecordRequest. The file stays the caller's. False with the last error.
    bool record(const AttachedDevice& device, const FileHandle& file, std::uint32_t flags);
    /// Ends the recording, and blocks until all of it is written. False with the last error.
    bool endRecording();

    /// One read of the bulk-in pipe: blocks until bytes of one container arrive, and never returns
    /// bytes of two. True with `done` 0 for a zero-length packet. A read for less than a
    /// container's header also returns true with 0 if a zero-length packet was due and the device
    /// has left it out.
    bool read(void* buffer, DWORD size, DWORD& done) override;
    /// One transfer to the bulk-out pipe. A buffer that begins with a PTP command container opens a
    /// new turn. Doesn't wait until the device has taken the bytes.
    bool write(const void* buffer, DWORD size, DWORD& done) override;
    bool control(DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize,
                 DWORD& returned) override;
    /// Shuts the connection down, which ends the waits of other threads. Does nothing in a forked
    /// child.
    void close() noexcept override;

  private:
    /// False with the last error in a forked child, or once the handle is dead.
    bool isUsable();
    bool send(usbscan::MessageKind kind, std::span<const std::byte> first = {},
              std::span<const std::byte> second = {}, int descriptor = -1);
    /// Gives up the open transaction, without waiting for the host's answer.
    void cancel();

    // The functions down to awaitAnswer() are called with `receiving_` held. If one of them fails,
    // it sets the last error.

    /// Receives the header of the next message that concerns the caller: Notes are traced, and what
    /// comes for an earlier turn is skipped. False if the connection has failed, or with the error
    /// of a Failed message for the open turn or for the whole handle.
    bool nextMessage(usbscan::MessageHeader& header);
    bool receive(std::span<std::byte> buffer);
    bool skipRest();
    /// Turns a failure of the link into the handle's permanent error.
    bool checked(HostLink::Result result);
    /// Takes the error out of a Failed message, and fails with it.
    bool fail(const usbscan::MessageHeader& header);
    /// Whether a read of this size should return 0 bytes because a zero-length packet is due and
    /// the device seems to have left it out.
    bool givesMissingZeroPacket(DWORD size);
    /// Bytes: `data_` is a message with bytes to read. None: the read returns 0 bytes. Failed: the
    /// last error says why.
    enum class Arrival { Bytes, None, Failed };
    /// Receives messages until it is known what a read of this size returns.
    Arrival await(DWORD size);
    /// Waits for the next message of this kind and copies as much of its payload as fits.
    bool awaitAnswer(usbscan::MessageKind kind, std::span<std::byte> output, DWORD& returned);
    /// Sends the message, and waits for the Recorded that answers it.
    bool askRecorder(usbscan::MessageKind kind, std::span<const std::byte> first = {},
                     std::span<const std::byte> second = {}, int descriptor = -1);
    /// Sends a Control message and waits for its answer. Takes the locks itself, as askDescriptor()
    /// and askPacketSize() do.
    bool ask(DWORD code, std::span<const std::byte> input, std::span<std::byte> output,
             DWORD& returned);
    bool askDescriptor(const USBSCAN_GET_DESCRIPTOR& wanted, std::span<std::byte> output,
                       DWORD& returned);
    /// Whether the response of the last transaction was read a moment ago, and nothing has come
    /// since. The caller holds `receiving_`.
    bool wasHeardLately();
    bool askPacketSize(std::span<std::byte> output, DWORD& returned);

    const std::unique_ptr<HostLink> link_;
    ForkMark fork_;  // the connection belongs to the process that opened it
    std::atomic<DWORD> handleError_ = ERROR_SUCCESS;  // if set, every use fails with it
    std::atomic<std::uint16_t> turn_ = 0;             // counts commands; changed under `sending_`
    std::atomic<bool> turnEnded_ = true;  // the turn failed or was given up, or none began

    std::mutex asking_;           // one question at a time
    std::uint32_t question_ = 0;  // the last question's number; under `asking_`

    // Held while a message gets its turn's number and is sent. Not held while one is received.
    std::mutex sending_;
    // Guards everything below: one thread at a time reads messages.
    std::mutex receiving_;
    std::uint16_t readTurn_ = 0;  // the turn that the fields below describe
    usbscan::MessageHeader data_{};
    bool inData_ = false;  // `data_` still has bytes to read
    AnswerProgress progress_;
    std::chrono::steady_clock::time_point heardAt_{};  // when the response was read
    USB_DEVICE_DESCRIPTOR descriptor_{};  // the device's, cached; bLength 0: not asked for yet
};

}  // namespace zlk::platform
