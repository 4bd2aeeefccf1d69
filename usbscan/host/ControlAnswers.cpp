#include "usbscan/host/ControlAnswers.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/error.h"
#include "usbscan/usbscan.h"

namespace zlk::usbscan {
namespace {

constexpr std::uint8_t deviceToHost = 0x80, getDescriptor = 6;
constexpr std::uint32_t interruptPipe = 3;
constexpr std::uint32_t largestDescriptor = 255;  // bytes
constexpr std::ptrdiff_t maxWaiting = 64;         // of one client

/// Clients rely on the order: bulk-in comes first.
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

/// The standard request GET_DESCRIPTOR for the fields of a USBSCAN_GET_DESCRIPTOR.
UsbRequest descriptorRequest(std::span<const std::byte> wanted, std::uint32_t size) {
    USBSCAN_GET_DESCRIPTOR descriptor;
    std::memcpy(&descriptor, wanted.data(), sizeof descriptor);
    return {.requestType = deviceToHost,
            .request = getDescriptor,
            .value = static_cast<std::uint16_t>(descriptor.DescriptorType << 8 | descriptor.Index),
            .index = descriptor.LanguageId,
            .inLength = static_cast<std::uint16_t>(size)};
}

void send(ClientConnection& client, const ControlAnswer& head,
          std::span<const std::byte> output = {}) {
    std::vector<std::byte> answer(sizeof head + output.size());
    std::memcpy(answer.data(), &head, sizeof head);
    std::copy(output.begin(), output.end(), answer.begin() + sizeof head);
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

bool ControlAnswers::answer(ClientConnection& client, std::span<const std::byte> payload) {
    ControlRequest request{};
    if (payload.size() < sizeof request) return false;
    std::memcpy(&request, payload.data(), sizeof request);
    // The pipes are known without asking the device. Descriptors are read from it each time, since
    // callers want to know whether it answers.
    const std::span<const std::byte> input = payload.subspan(sizeof request);
    if (client.dead) {
        send(client, {request.question, ERROR_INVALID_HANDLE});
    } else if (request.code == IOCTL_GET_PIPE_CONFIGURATION) {
        const USBSCAN_PIPE_CONFIGURATION pipes = pipesOf(device_.facts());
        send(client, {request.question, ERROR_SUCCESS}, std::as_bytes(std::span(&pipes, 1)));
    } else if (request.code == IOCTL_GET_USB_DESCRIPTOR &&
               input.size() == sizeof(USBSCAN_GET_DESCRIPTOR)) {
        if (std::ranges::count(waiting_, &client, &Waiting::client) == maxWaiting) return false;
        const std::uint32_t size = std::min(request.outputSize, largestDescriptor);
        waiting_.push_back({&client, request.question, descriptorRequest(input, size)});
        if (waiting_.size() == 1) ask();
    } else {
        send(client, {request.question, ERROR_NOT_SUPPORTED});
    }
    return true;
}

void ControlAnswers::remove(ClientConnection& client) {
    if (waiting_.empty()) return;
    // The device is still answering the first question, so its place in the queue must stay.
    if (waiting_.front().client == &client) waiting_.front().client = nullptr;
    std::erase_if(waiting_, [&](const Waiting& waiting) { return waiting.client == &client; });
}

void ControlAnswers::ask() {
    controls_.add(waiting_.front().request,
                  [this](UsbStatus status, std::span<const std::byte> bytes) {
                      const Waiting asked = waiting_.front();
                      waiting_.pop_front();
                      if (asked.client)
                          send(*asked.client, {asked.question, lastErrorOf(status)}, bytes);
                      if (status == UsbStatus::Gone) return gone_();
                      if (!waiting_.empty()) ask();
                  });
}

}  // namespace zlk::usbscan
