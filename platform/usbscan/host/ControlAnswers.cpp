#include "platform/usbscan/host/ControlAnswers.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/error.h"
#include "platform/usbscan.h"

namespace zlk::usbscan {
namespace {

constexpr std::uint8_t deviceToHost = 0x80, getDescriptor = 6;
constexpr std::uint32_t interruptPipe = 3;
constexpr std::uint32_t largestDescriptor = 255;

USBSCAN_PIPE_CONFIGURATION pipesOf(const UsbFacts& facts) {
    USBSCAN_PIPE_CONFIGURATION pipes{};
    const auto add = [&](const UsbEndpoint& endpoint, DWORD type) {
        if (endpoint.address)
            pipes.PipeInfo[pipes.NumberOfPipes++] = {endpoint.maximumPacketSize, endpoint.address,
                                                     endpoint.interval, type};
    };
    add(facts.bulkIn, USBSCAN_PIPE_BULK);
    add(facts.bulkOut, USBSCAN_PIPE_BULK);
    add(facts.interruptIn, interruptPipe);
    return pipes;
}

void send(HostConnection& client, DWORD error, std::span<const std::byte> output = {}) {
    std::vector<std::byte> answer(sizeof error + output.size());
    std::memcpy(answer.data(), &error, sizeof error);
    std::copy(output.begin(), output.end(), answer.begin() + sizeof error);
    client.send({0, MessageKind::ControlDone, 0, 0}, answer);
}

}  // namespace

DWORD lastErrorOf(UsbStatus status) {
    switch (status) {
        case UsbStatus::Done:
            return ERROR_SUCCESS;
        case UsbStatus::TimedOut:
            return ERROR_SEM_TIMEOUT;
        case UsbStatus::Cancelled:
            return ERROR_OPERATION_ABORTED;
        case UsbStatus::Gone:
            return ERROR_DEVICE_NOT_CONNECTED;
        case UsbStatus::Stalled:
        case UsbStatus::Failed:
            break;
    }
    return ERROR_GEN_FAILURE;
}

bool ControlAnswers::answer(HostConnection& client, std::span<const std::byte> payload) {
    ControlRequest request{};
    if (payload.size() < sizeof request) return false;
    std::memcpy(&request, payload.data(), sizeof request);
    const std::span<const std::byte> input = payload.subspan(sizeof request);
    if (client.dead) {
        send(client, ERROR_INVALID_HANDLE);
    } else if (request.code == IOCTL_GET_PIPE_CONFIGURATION) {
        const USBSCAN_PIPE_CONFIGURATION pipes = pipesOf(device_.facts());
        send(client, ERROR_SUCCESS, std::as_bytes(std::span(&pipes, 1)));
    } else if (request.code == IOCTL_GET_USB_DESCRIPTOR &&
               input.size() == sizeof(USBSCAN_GET_DESCRIPTOR)) {
        askDescriptor(client, input, std::min(request.outputSize, largestDescriptor));
    } else {
        send(client, ERROR_NOT_SUPPORTED);
    }
    return true;
}

/// Asked of the device each time: whoever asks wants to know whether it still answers.
void ControlAnswers::askDescriptor(HostConnection& client, std::span<const std::byte> wanted,
                                   std::uint32_t size) {
    USBSCAN_GET_DESCRIPTOR descriptor;
    std::memcpy(&descriptor, wanted.data(), sizeof descriptor);
    const UsbRequest request{
        .requestType = deviceToHost,
        .request = getDescriptor,
        .value = static_cast<std::uint16_t>(descriptor.DescriptorType << 8 | descriptor.Index),
        .index = descriptor.LanguageId,
        .inLength = static_cast<std::uint16_t>(size)};
    waiting_.insert(&client);
    controls_.add(request, [this, &client](UsbStatus status, std::span<const std::byte> bytes) {
        if (const auto waits = waiting_.find(&client); waits != waiting_.end()) {
            waiting_.erase(waits);
            send(client, lastErrorOf(status), bytes);
        }
        if (status == UsbStatus::Gone) gone_();
    });
}

}  // namespace zlk::usbscan
