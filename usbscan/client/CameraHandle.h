#pragma once
// What stands behind a handle of a still-image device: a connection to its host.
//
// Writes are not acknowledged; what became of them is told by the next read or control. Once a
// transaction has failed, further reads of it fail with ERROR_OPERATION_ABORTED until the next
// command. A control request gives up what is still to be read.

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string_view>

#include "platform/base/ForkMark.h"
#include "platform/base/Handle.h"
#include "platform/files/FileHandle.h"
#include "usbscan/client/AttachedDevices.h"
#include "usbscan/client/HostLink.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {

class CameraHandle final : public Handle {
  public:
    /// `name` as behind `\\.\` or `\\?\`. Null with the last error: ERROR_FILE_NOT_FOUND for a
    /// device that isn't attached, ERROR_SHARING_VIOLATION for one that another program has (the
    /// trace tells which), ERROR_ACCESS_DENIED.
    static std::shared_ptr<CameraHandle> open(std::u16string_view name);

    CameraHandle(Descriptor socket, std::chrono::milliseconds patience)
        : socket_(std::move(socket), patience) {}

    /// Has the host write what goes over the device's pipes into the file, from here on; `flags`
    /// as those of usbscan::RecordRequest. False with the last error.
    bool record(const AttachedDevice& device, const FileHandle& file, std::uint32_t flags);
    /// Until all of it is written. False with the last error, where some of it isn't.
    bool endRecording();

    bool read(void* buffer, DWORD size, DWORD& done) override;
    bool write(const void* buffer, DWORD size, DWORD& done) override;
    bool control(DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize,
                 DWORD& returned) override;
    /// Ends what other threads wait for.
    void close() noexcept override;

  private:
    enum class Opening { Done, Again, Failed };
    Opening shakeHands(const usbscan::OpenRequest& request);
    void recordIfSet(const AttachedDevice& device);

    bool isUsable();
    bool send(usbscan::MessageKind kind, std::span<const std::byte> first = {},
              std::span<const std::byte> second = {}, int descriptor = -1);
    void cancel();

    // Under `receiving_`; false with the last error.
    /// Receives the next message of the current turn. Notes are traced and skipped; leftovers of
    /// earlier turns, and further failures of a turn that has already failed, are skipped.
    bool nextMessage(usbscan::MessageHeader& header);
    bool receive(std::span<std::byte> buffer);
    bool skipRest();
    bool checked(HostLink::Result result);
    bool fail(const usbscan::MessageHeader& header);
    void beginTurn();
    /// Whether a packet of no bytes, which is due, has to be taken for read.
    bool givesMissingZeroPacket(DWORD size);
    /// The payload of the next message of this kind, as much of it as there is room for.
    bool awaitAnswer(usbscan::MessageKind kind, std::span<std::byte> output, DWORD& returned);
    /// Sends the message, and receives its Recorded.
    bool askRecorder(usbscan::MessageKind kind, std::span<const std::byte> first = {},
                     std::span<const std::byte> second = {}, int descriptor = -1);
    bool ask(DWORD code, std::span<const std::byte> input, std::span<std::byte> output,
             DWORD& returned);
    bool askDescriptor(const USBSCAN_GET_DESCRIPTOR& wanted, std::span<std::byte> output,
                       DWORD& returned);
    bool wasHeardLately();
    bool askPacketSize(std::span<std::byte> output, DWORD& returned);

    HostLink socket_;
    bool isRecorded_ = false;  // was, when this handle was opened
    ForkMark fork_;
    std::atomic<DWORD> handleError_ = ERROR_SUCCESS;  // why every use fails from now on
    std::atomic<std::uint16_t> turn_ = 0;             // counts commands
    std::atomic<bool> turnEnded_ = true;              // the turn has nothing more to read

    std::mutex asking_;  // one question at a time
    std::uint32_t question_ = 0;

    std::mutex sending_;
    std::mutex receiving_;
    std::uint16_t readTurn_ = 0;  // the turn that the fields below describe
    usbscan::MessageHeader data_{};
    bool inData_ = false;    // `data_` is received in parts
    bool zeroDue_ = false;   // a zero-length packet should come next
    bool complete_ = false;  // the last container has been read to its end
    bool answered_ = false;  // the response of the turn has been read
    bool zeroGiven_ =
        false;  // a read has given 0 bytes for a zero-length packet that has not arrived
    std::chrono::steady_clock::time_point heardAt_{};  // when the response was read
    USB_DEVICE_DESCRIPTOR descriptor_{};               // of the device, once it has told it whole
};

}  // namespace zlk::platform
