// Answers control requests to the camera, of the still image class and of USB itself.

#include <algorithm>
#include <utility>

#include "tools/zlkcamsim/Descriptors.h"
#include "tools/zlkcamsim/VirtualCamera.h"

namespace zlk::camsim {
namespace {

constexpr std::uint8_t classOut = 0x21, classIn = 0xA1, standardIn = 0x80;
constexpr std::uint8_t cancelRequest = 0x64, resetRequest = 0x66, statusRequest = 0x67;
constexpr std::uint8_t clearFeature = 1, getDescriptor = 6, getConfiguration = 8,
                       setConfiguration = 9, setInterface = 11;

ControlAnswer done(Bytes bytes = {}) {
    return {false, std::move(bytes)};
}

}  // namespace

Bytes VirtualCamera::deviceDescriptor() const {
    return replay_ ? replay_->recording().deviceDescriptor
                   : deviceDescriptorOf(identity_, bulkPacketSize());
}

Bytes VirtualCamera::configurationDescriptor() const {
    return replay_ ? replay_->recording().configuration
                   : configurationDescriptorOf(bulkPacketSize());
}

Bytes VirtualCamera::stringDescriptor(std::uint8_t index) const {
    if (!replay_) return stringDescriptorOf(identity_, index);
    const auto& strings = replay_->recording().strings;
    const auto found = strings.find(index);
    return found == strings.end() ? Bytes() : found->second;
}

ControlAnswer VirtualCamera::control(const SetupPacket& setup, ByteView out) {
    if (isPulled_) return {};
    // The log gets the request as it was on the bus: setup packet and data.
    Bytes logged;
    for (const std::uint8_t byte : {setup.requestType, setup.request})
        appendNumber(logged, byte, 1);
    for (const std::uint16_t field : {setup.value, setup.index, setup.length})
        appendNumber(logged, field, 2);
    logged.insert(logged.end(), out.begin(), out.end());
    log_.add(Channel::Control, logged, true);

    ControlAnswer answer;
    if (setup.requestType == classOut && setup.request == cancelRequest) {
        if (cancel(out)) answer = done();
    } else if (setup.requestType == classOut && setup.request == resetRequest) {
        resetDevice();
        answer = done();
    } else if (setup.requestType == classIn && setup.request == statusRequest) {
        answer = deviceStatus();
    } else {
        answer = standardRequest(setup);
    }
    // The host may ask for less than there is.
    if (answer.bytes.size() > setup.length) answer.bytes.resize(setup.length);
    return answer;
}

ControlAnswer VirtualCamera::standardRequest(const SetupPacket& setup) {
    if (setup.requestType == standardIn && setup.request == getDescriptor) {
        Bytes bytes;
        if (setup.value >> 8 == 1) bytes = deviceDescriptor();
        if (setup.value >> 8 == 2) bytes = configurationDescriptor();
        if (setup.value >> 8 == 3) bytes = stringDescriptor(static_cast<std::uint8_t>(setup.value));
        return bytes.empty() ? ControlAnswer{} : done(std::move(bytes));
    }
    if (setup.requestType == standardIn && setup.request == getConfiguration)
        return done({std::byte{1}});
    if (setup.requestType == 0x02 && setup.request == clearFeature) {
        clearHalt(static_cast<std::uint8_t>(setup.index));
        return done();
    }
    // The only configuration and interface are always selected.
    const bool selects = (setup.requestType == 0x00 && setup.request == setConfiguration) ||
                         (setup.requestType == 0x01 && setup.request == setInterface);
    return selects ? done() : ControlAnswer{};
}

/// False if a fault makes this a camera that doesn't know the request.
bool VirtualCamera::cancel(ByteView request) {
    if (faults_.take(FaultKind::CancelStall)) return false;
    judge_.cancelRequest(request, open_ ? std::optional(open_->id) : std::nullopt);
    // The response may already have left the camera when the host, which hasn't read it, gives up.
    // The id of that transaction may come again, too.
    const bool namesTheLast =
        request.size() == 6 && loadNumber(request.subspan(2), 4) == session_.lastTransaction;
    if (namesTheLast) judge_.transactionBroken(session_.lastTransaction);
    breakTransaction();
    // The status is busy as many times as all armed faults of this kind together have to strike.
    while (faults_.take(FaultKind::CancelBusy)) ++busyAnswers_;
    return true;
}

ControlAnswer VirtualCamera::deviceStatus() {
    std::vector<std::uint8_t> halted;
    if (bulkIn_.halted()) halted.push_back(endpoint::BulkIn);
    if (outHalted_) halted.push_back(endpoint::BulkOut);
    // As long as a transaction is open, the camera counts as busy.
    const bool busy = busyAnswers_ > 0 || open_;
    if (busyAnswers_ > 0) --busyAnswers_;
    // TransactionCancelled tells the host that the endpoints in the list have to be cleared.
    const Code code = busy              ? response::DeviceBusy
                      : !halted.empty() ? response::TransactionCancelled
                                        : response::OK;
    Bytes bytes;
    appendNumber(bytes, 4 + 4 * halted.size(), 2);
    appendNumber(bytes, code, 2);
    for (const std::uint8_t address : halted) appendNumber(bytes, address, 4);
    return done(std::move(bytes));
}

void VirtualCamera::clearHalt(std::uint8_t address) {
    if (address == endpoint::BulkIn) bulkIn_.clearHalt();
    if (address == endpoint::BulkOut) outHalted_ = false;
    wake_();
}

void VirtualCamera::resetDevice() {
    breakTransaction();
    responder_.closeSession();
    bulkIn_.clearHalt();
    outHalted_ = false;
    busyAnswers_ = 0;
    // The host can't fetch the waiting interrupts any more, which their senders have to know.
    for (const WaitingInterrupt& lost : std::exchange(interrupts_, {})) lost.seen();
}

void VirtualCamera::busReset() {
    resetDevice();
    isPulled_ = false;
    wake_();
}

}  // namespace zlk::camsim
