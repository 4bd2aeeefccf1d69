#include "tests/usb/ScriptedFunction.h"

#include <algorithm>
#include <utility>

namespace zlk::test {
namespace {

using camsim::PipeAnswer;

Bytes bytesOf(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values) bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

}  // namespace

Bytes pattern(std::size_t size, unsigned seed) {
    Bytes bytes(size);
    std::uint32_t state = seed * 2654435761u + 1;
    for (std::byte& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<std::byte>(state >> 24);
    }
    return bytes;
}

void ScriptedFunction::send(Transfer transfer) {
    toHost_.push_back(std::move(transfer));
    wake_();
}

void ScriptedFunction::sendEvent(Bytes event) {
    events_.push_back(std::move(event));
    wake_();
}

void ScriptedFunction::answer(std::uint8_t endpoint, PipeAnswer answer) {
    answers_[endpoint] = answer;
    wake_();
}

Bytes ScriptedFunction::deviceDescriptor() const {
    return bytesOf(
        {18, 1, 0x00, 0x02, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0x01, 0x02, 1, 2, 3, 1});
}

Bytes ScriptedFunction::configurationDescriptor() const {
    const int low = packetSize_ & 0xFF, high = packetSize_ >> 8;
    return bytesOf({9, 2,    39,          0, 1,   1,
                    0, 0xC0, 0,  // configuration
                    9, 4,    0,           0, 3,   interfaceClass_,
                    1, 1,    0,  // interface
                    7, 5,    bulkIn,      2, low, high,
                    0,  //
                    7, 5,    bulkOut,     2, low, high,
                    0,  //
                    7, 5,    interruptIn, 3, 64,  0,
                    8});
}

Bytes ScriptedFunction::stringDescriptor(std::uint8_t index) const {
    return bytesOf({6, 3, 'S', 0, '0' + index, 0});
}

PipeAnswer ScriptedFunction::out(std::span<const std::byte> bytes, bool ends) {
    if (const PipeAnswer answer = answers_[bulkOut]; answer != PipeAnswer::Accepted) return answer;
    if (received.empty() || received.back().ended) received.push_back({{}, false});
    Transfer& last = received.back();
    last.bytes.insert(last.bytes.end(), bytes.begin(), bytes.end());
    last.ended = ends;
    return PipeAnswer::Accepted;
}

camsim::PipeBytes ScriptedFunction::in(std::size_t room) {
    if (toHost_.empty()) {
        const PipeAnswer answer = answers_[bulkIn];
        return {answer == PipeAnswer::Accepted ? PipeAnswer::NotNow : answer, {}, false, {}};
    }
    const Transfer& transfer = toHost_.front();
    const auto rest = std::span(transfer.bytes).subspan(sent_);
    const auto part = rest.first(std::min(room, rest.size()));
    const bool all = part.size() == rest.size();
    camsim::PipeBytes result{PipeAnswer::Accepted, part, all && transfer.ended, {}};
    given += part.size();
    sent_ += part.size();
    if (all) {
        const auto kept = std::make_shared<Transfer>(std::move(toHost_.front()));
        toHost_.pop_front();
        sent_ = 0;
        result.keeper = kept;
    }
    return result;
}

camsim::PipeBytes ScriptedFunction::interrupt(std::size_t) {
    if (events_.empty()) return {};
    const auto kept = std::make_shared<Bytes>(std::move(events_.front()));
    events_.pop_front();
    return {PipeAnswer::Accepted, *kept, true, kept};
}

camsim::ControlAnswer ScriptedFunction::control(const camsim::SetupPacket& setup,
                                                std::span<const std::byte> out) {
    requests.push_back(setup);
    requestData.assign(out.begin(), out.end());
    return {setup.request == 0xFF, requestAnswer};
}

void ScriptedFunction::clearHalt(std::uint8_t endpoint) {
    if (answers_[endpoint] == PipeAnswer::Stalled) answers_[endpoint] = PipeAnswer::Accepted;
}

void ScriptedFunction::busReset() {
    ++resets;
    received.clear();
    toHost_.clear();
    events_.clear();
    answers_.clear();
    sent_ = 0;
}

}  // namespace zlk::test
