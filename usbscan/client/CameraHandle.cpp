#include "usbscan/client/CameraHandle.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "platform/base/Diagnose.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {
namespace {

using usbscan::MessageHeader;
using usbscan::MessageKind;
using namespace std::chrono_literals;

constexpr char category[] = "Usbscan";

// How long a zero-length packet that is due may take. Many devices leave it out.
constexpr auto zeroPacketPatience = 100ms;
// A device that was heard this recently isn't asked whether it still answers.
constexpr auto lately = 100ms;

bool refuse(DWORD error) {
    SetLastError(error);
    return false;
}

bool beginsWithCommand(const void* buffer, DWORD size) {
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    return size >= usbscan::containerHeaderSize && bytes[4] == 1 && bytes[5] == 0;
}

}  // namespace

void CameraHandle::close() noexcept {
    // A forked child shares the connection with its parent, who still needs it.
    if (!fork_.crossed()) link_->shutDown();
}

bool CameraHandle::isUsable() {
    if (fork_.crossed()) return refuse(ERROR_INVALID_HANDLE);
    return handleError_ == ERROR_SUCCESS || refuse(handleError_);
}

bool CameraHandle::send(MessageKind kind, std::span<const std::byte> first,
                        std::span<const std::byte> second, int descriptor) {
    bool sent;
    {
        const std::lock_guard lock(sending_);
        const bool command = kind == MessageKind::Write &&
                             beginsWithCommand(first.data(), static_cast<DWORD>(first.size()));
        if (command) {
            ++turn_;
            turnEnded_ = false;
        }
        sent = link_->send({0, kind, 0, turn_}, first, second, descriptor);
    }
    if (sent) return true;
    // The host may have sent Failed before it ended the connection. nextMessage() then sets the
    // error of that message.
    const std::lock_guard lock(receiving_);
    for (MessageHeader header; nextMessage(header);)
        if (!skipRest()) break;
    return false;
}

bool CameraHandle::checked(HostLink::Result result) {
    // A failure may come in the middle of a message, and then it isn't known where the next message
    // begins. So the handle is dead after any failure.
    if (result == HostLink::Result::Ok) return true;
    handleError_ =
        result == HostLink::Result::TimedOut ? ERROR_SEM_TIMEOUT : ERROR_DEVICE_NOT_CONNECTED;
    return refuse(handleError_);
}

bool CameraHandle::receive(std::span<std::byte> buffer) {
    return checked(link_->receive(buffer));
}

bool CameraHandle::skipRest() {
    return checked(link_->skipRest());
}

bool CameraHandle::fail(const MessageHeader& header) {
    DWORD error = 0;
    if (header.length != sizeof error) return checked(HostLink::Result::Closed);
    if (!receive(std::as_writable_bytes(std::span(&error, 1)))) return false;
    if (header.flags & usbscan::handleIsDead) handleError_ = error;
    turnEnded_ = true;
    return refuse(error);
}

bool CameraHandle::nextMessage(MessageHeader& header) {
    for (;;) {
        if (!checked(link_->receiveHeader(header))) return false;
        const bool ofThisTurn = header.turn == turn_;
        switch (header.kind) {
            case MessageKind::Note: {
                std::string line(header.length, 0);
                if (!receive(std::as_writable_bytes(std::span(line)))) return false;
                diagnose(category, u"%s", line);
                continue;
            }
            case MessageKind::Failed:
                if ((header.flags & usbscan::handleIsDead) || (ofThisTurn && !turnEnded_))
                    return fail(header);
                break;
            case MessageKind::Cancelled:
                if (ofThisTurn && turnEnded_) return true;
                break;
            case MessageKind::Data:
            case MessageKind::ZeroPacket:
                if (ofThisTurn) return true;
                break;
            default:
                return true;
        }
        if (!skipRest()) return false;
    }
}

bool CameraHandle::givesMissingZeroPacket(DWORD size) {
    if (!progress_.awaitsZeroPacket(size) || link_->hasInput(zeroPacketPatience)) return false;
    progress_.gaveMissingZeroPacket();
    diagnose(category, u"A zero-length packet was due and didn't come");
    return true;
}

CameraHandle::Arrival CameraHandle::await(DWORD size) {
    while (!inData_) {
        if (!nextMessage(data_)) return Arrival::Failed;
        switch (data_.kind) {
            case MessageKind::Cancelled:
                SetLastError(ERROR_OPERATION_ABORTED);
                return Arrival::Failed;
            case MessageKind::ZeroPacket:
                if (progress_.takesZeroPacket(size)) return Arrival::None;
                break;
            case MessageKind::Data:
                inData_ = data_.length > 0;
                if (!progress_.comesForZeroPacket(size, data_.length)) break;
                diagnose(category, u"A zero-length packet was due and was left out");
                return Arrival::None;
            default:
                if (!skipRest()) return Arrival::Failed;
        }
    }
    return Arrival::Bytes;
}

bool CameraHandle::read(void* buffer, DWORD size, DWORD& done) {
    const std::lock_guard lock(receiving_);
    done = 0;
    if (!isUsable()) return false;
    if (readTurn_ != turn_) {
        if (inData_ && !skipRest()) return false;
        readTurn_ = turn_;
        inData_ = false;
        progress_.begin();
    }
    if (turnEnded_) return refuse(ERROR_OPERATION_ABORTED);
    if (size == 0 || givesMissingZeroPacket(size)) return true;
    // A caller that reads on after the response would wait for bytes that never come.
    if (progress_.isOver() && !progress_.awaitsZeroPacket(size)) return refuse(ERROR_SEM_TIMEOUT);
    if (const Arrival arrival = await(size); arrival != Arrival::Bytes)
        return arrival == Arrival::None;
    const DWORD count = std::min<DWORD>(size, link_->left());
    if (!receive({static_cast<std::byte*>(buffer), count})) return false;
    done = count;
    if (link_->left() == 0) {
        inData_ = false;
        progress_.hasRead(data_.flags);
        if (progress_.isOver()) heardAt_ = std::chrono::steady_clock::now();
    }
    return true;
}

bool CameraHandle::write(const void* buffer, DWORD size, DWORD& done) {
    if (!isUsable()) return false;
    if (size > 0 && !send(MessageKind::Write, {static_cast<const std::byte*>(buffer), size}))
        return false;
    done = size;
    return true;
}

bool CameraHandle::awaitAnswer(MessageKind kind, std::span<std::byte> output, DWORD& returned) {
    if (inData_ && !skipRest()) return false;
    inData_ = false;
    for (MessageHeader header; nextMessage(header);) {
        if (header.kind == kind) {
            returned = std::min(header.length, static_cast<DWORD>(output.size()));
            return receive(output.first(returned)) && skipRest();
        }
        // IOCTL_CANCEL_IO ends a wait for an event. Any other request is answered all the same.
        if (header.kind == MessageKind::Cancelled && kind == MessageKind::Event)
            return refuse(ERROR_OPERATION_ABORTED);
        if (!skipRest()) return false;
    }
    return false;
}

bool CameraHandle::ask(DWORD code, std::span<const std::byte> input, std::span<std::byte> output,
                       DWORD& returned) {
    const std::lock_guard one(asking_);
    const usbscan::ControlRequest request{code, static_cast<std::uint32_t>(output.size()),
                                          ++question_};
    if (!send(MessageKind::Control, std::as_bytes(std::span(&request, 1)), input)) return false;
    const std::lock_guard lock(receiving_);
    usbscan::ControlAnswer head{};
    std::byte answer[sizeof head + 255];
    DWORD size = 0;
    // The answer to an earlier question may still be under way, if waiting for that answer failed.
    do {
        if (!awaitAnswer(MessageKind::ControlDone, answer, size)) return false;
        if (size < sizeof head) return checked(HostLink::Result::Closed);
        std::memcpy(&head, answer, sizeof head);
    } while (head.question != request.question);
    if (head.error != ERROR_SUCCESS) return refuse(head.error);
    if (size - sizeof head > output.size()) return refuse(ERROR_INSUFFICIENT_BUFFER);
    returned = static_cast<DWORD>(size - sizeof head);
    std::copy_n(answer + sizeof head, returned, output.begin());
    return true;
}

bool CameraHandle::wasHeardLately() {
    return progress_.isOver() && readTurn_ == turn_ &&
           std::chrono::steady_clock::now() - heardAt_ < lately && !link_->hasInput(0ms);
}

/// Callers ask for the device descriptor to find out whether the device still answers. Within
/// `lately` of a response the cached descriptor is enough, which saves time between two pictures.
bool CameraHandle::askDescriptor(const USBSCAN_GET_DESCRIPTOR& wanted, std::span<std::byte> output,
                                 DWORD& returned) {
    const bool ofDevice = wanted.DescriptorType == 1 && wanted.Index == 0;
    {
        const std::lock_guard lock(receiving_);
        if (ofDevice && descriptor_.bLength == sizeof descriptor_ && wasHeardLately()) {
            returned = std::min<DWORD>(sizeof descriptor_, static_cast<DWORD>(output.size()));
            std::memcpy(output.data(), &descriptor_, returned);
            return true;
        }
    }
    if (!ask(IOCTL_GET_USB_DESCRIPTOR, std::as_bytes(std::span(&wanted, 1)), output, returned))
        return false;
    const std::lock_guard lock(receiving_);
    if (ofDevice && returned == sizeof descriptor_)
        std::memcpy(&descriptor_, output.data(), sizeof descriptor_);
    return true;
}

bool CameraHandle::askRecorder(MessageKind kind, std::span<const std::byte> first,
                               std::span<const std::byte> second, int descriptor) {
    const std::lock_guard one(asking_);
    if (!isUsable() || !send(kind, first, second, descriptor)) return false;
    const std::lock_guard lock(receiving_);
    DWORD error = 0, size = 0;
    if (!awaitAnswer(MessageKind::Recorded, std::as_writable_bytes(std::span(&error, 1)), size))
        return false;
    if (size != sizeof error) return checked(HostLink::Result::Closed);
    return error == ERROR_SUCCESS || refuse(error);
}

bool CameraHandle::record(const AttachedDevice& device, const FileHandle& file,
                          std::uint32_t flags) {
    // A device's own string has at most 126 UTF-16 units, each up to 3 bytes in UTF-8. The text of
    // a file in devices/ may be longer, and is cut off.
    constexpr std::size_t longest = 3 * 126;
    usbscan::RecordRequest request{};
    request.flags = flags;
    std::string texts;
    const std::pair<const std::string*, std::uint16_t*> fields[]{
        {&device.manufacturer, &request.manufacturer},
        {&device.product, &request.product},
        {&device.serial, &request.serial}};
    for (const auto& [text, size] : fields) {
        *size = static_cast<std::uint16_t>(std::min(text->size(), longest));
        texts.append(*text, 0, *size);
    }
    return askRecorder(MessageKind::Record, std::as_bytes(std::span(&request, 1)),
                       std::as_bytes(std::span(texts)), file.descriptor());
}

bool CameraHandle::endRecording() {
    return askRecorder(MessageKind::EndRecord);
}

bool CameraHandle::askPacketSize(std::span<std::byte> output, DWORD& returned) {
    USBSCAN_PIPE_CONFIGURATION pipes{};
    DWORD size = 0;
    if (!ask(IOCTL_GET_PIPE_CONFIGURATION, {}, std::as_writable_bytes(std::span(&pipes, 1)), size))
        return false;
    const DWORD packetSize = pipes.PipeInfo[0].MaximumPacketSize;
    if (output.size() < sizeof packetSize) return refuse(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(output.data(), &packetSize, sizeof packetSize);
    returned = sizeof packetSize;
    return true;
}

void CameraHandle::cancel() {
    turnEnded_ = true;
    const std::lock_guard lock(sending_);
    // Cancelled, the host's answer, isn't awaited here. If another thread is in a read, Cancelled
    // makes that read fail.
    link_->send({0, MessageKind::Cancel, 0, turn_}, {});
}

bool CameraHandle::control(DWORD code, const void* input, DWORD inputSize, void* output,
                           DWORD outputSize, DWORD& returned) {
    if (!isUsable()) return false;
    const std::span in(static_cast<const std::byte*>(input), inputSize);
    const std::span out(static_cast<std::byte*>(output), outputSize);
    if (in.size() > usbscan::maxControlMessage - sizeof(usbscan::ControlRequest))
        return refuse(ERROR_INVALID_PARAMETER);
    switch (code) {
        case IOCTL_CANCEL_IO:
            cancel();
            return true;
        case IOCTL_WAIT_ON_DEVICE_EVENT: {
            if (!send(MessageKind::WaitEvent)) return false;
            const std::lock_guard lock(receiving_);
            return awaitAnswer(MessageKind::Event, out, returned);
        }
        case IOCTL_GET_USB_DESCRIPTOR: {
            USBSCAN_GET_DESCRIPTOR wanted;
            if (in.size() != sizeof wanted) return refuse(ERROR_INVALID_PARAMETER);
            std::memcpy(&wanted, in.data(), sizeof wanted);
            return askDescriptor(wanted, out, returned);
        }
        case IOCTL_GET_PIPE_CONFIGURATION:
            return ask(code, {}, out, returned);
        case ZL_IOCTL_GET_DEVICE_DESCRIPTOR:
            return askDescriptor({1, 0, 0}, out, returned);
        case ZL_IOCTL_GET_MAX_PACKET_SIZE:
            return askPacketSize(out, returned);
        default:
            return refuse(ERROR_NOT_SUPPORTED);
    }
}

}  // namespace zlk::platform
