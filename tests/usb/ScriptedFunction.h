#pragma once
// A device that knows nothing of pictures: it keeps what it is sent, gives out what it is told to,
// and fails where it is told to.

#include <algorithm>
#include <deque>
#include <map>
#include <utility>
#include <vector>

#include "tools/zlkcamsim/UsbFunction.h"

namespace zlk::test {

using Bytes = std::vector<std::byte>;

/// `size` bytes that differ from those of another seed, and of another place.
inline Bytes pattern(std::size_t size, unsigned seed) {
    Bytes bytes(size);
    std::uint32_t state = seed * 2654435761u + 1;
    for (std::byte& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<std::byte>(state >> 24);
    }
    return bytes;
}

class ScriptedFunction : public camsim::UsbFunction {
  public:
    static constexpr std::uint8_t bulkIn = 0x81, bulkOut = 0x02, interruptIn = 0x83;

    explicit ScriptedFunction(std::uint16_t packetSize) : packetSize_(packetSize) {}

    struct Transfer {
        Bytes bytes;
        bool ended = true;  ///< by a short packet, or one of no bytes
        bool operator==(const Transfer&) const = default;
    };
    /// Queues a transfer to the host.
    void send(Transfer transfer) {
        toHost_.push_back(std::move(transfer));
        wake_();
    }
    void sendEvent(Bytes event) {
        events_.push_back(std::move(event));
        wake_();
    }
    /// Pipes answer this from now on; Accepted: as they can. A stalled one until it is cleared.
    /// That of bulk in comes after what was queued.
    void answer(std::uint8_t endpoint, camsim::PipeAnswer answer) {
        answers_[endpoint] = answer;
        wake_();
    }

    std::uint8_t interfaceClass = 6;
    std::deque<Transfer> received;  ///< from the host
    std::vector<camsim::SetupPacket> requests;
    Bytes requestData;      ///< that came with the last one
    Bytes requestAnswer;    ///< for those that want one; 0xFF is a request that isn't known
    std::size_t given = 0;  ///< bytes towards the host
    int resets = 0;         ///< of the bus, plugging in included

    std::uint16_t bulkPacketSize() const override { return packetSize_; }
    Bytes deviceDescriptor() const override {
        return bytesOf(
            {18, 1, 0x00, 0x02, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0x01, 0x02, 1, 2, 3, 1});
    }
    Bytes configurationDescriptor() const override {
        const int low = packetSize_ & 0xFF, high = packetSize_ >> 8;
        return bytesOf({9, 2,    39,          0, 1,   1,
                        0, 0xC0, 0,  // configuration
                        9, 4,    0,           0, 3,   interfaceClass,
                        1, 1,    0,  // interface
                        7, 5,    bulkIn,      2, low, high,
                        0,  //
                        7, 5,    bulkOut,     2, low, high,
                        0,  //
                        7, 5,    interruptIn, 3, 64,  0,
                        8});
    }
    Bytes stringDescriptor(std::uint8_t index) const override {
        return bytesOf({6, 3, 'S', 0, '0' + index, 0});
    }
    void setWake(std::function<void()> wake) override { wake_ = std::move(wake); }

    camsim::PipeAnswer out(std::span<const std::byte> bytes, bool ends) override {
        const PipeAnswer answer = answers_[bulkOut];
        if (answer != PipeAnswer::Accepted) return answer;
        if (received.empty() || received.back().ended) received.push_back({{}, false});
        Transfer& last = received.back();
        last.bytes.insert(last.bytes.end(), bytes.begin(), bytes.end());
        last.ended = ends;
        return answer;
    }
    camsim::PipeBytes in(std::size_t room) override {
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
            result.keeper = std::make_shared<Transfer>(std::move(toHost_.front()));
            toHost_.pop_front();
            sent_ = 0;
        }
        return result;
    }
    camsim::PipeBytes interrupt(std::size_t) override {
        if (events_.empty()) return {};
        const auto kept = std::make_shared<Bytes>(std::move(events_.front()));
        events_.pop_front();
        return {PipeAnswer::Accepted, *kept, true, kept};
    }
    camsim::ControlAnswer control(const camsim::SetupPacket& setup,
                                  std::span<const std::byte> out) override {
        requests.push_back(setup);
        requestData.assign(out.begin(), out.end());
        return {setup.request == 0xFF, requestAnswer};
    }
    void clearHalt(std::uint8_t endpoint) override {
        if (answers_[endpoint] == PipeAnswer::Stalled) answers_[endpoint] = PipeAnswer::Accepted;
    }
    void busReset() override {
        ++resets;
        received.clear();
        toHost_.clear();
        events_.clear();
        answers_.clear();
        sent_ = 0;
    }

  private:
    using PipeAnswer = camsim::PipeAnswer;

    static Bytes bytesOf(std::initializer_list<int> values) {
        Bytes bytes;
        for (const int value : values) bytes.push_back(static_cast<std::byte>(value));
        return bytes;
    }

    const std::uint16_t packetSize_;
    std::deque<Transfer> toHost_;
    std::deque<Bytes> events_;
    std::size_t sent_ = 0;  ///< of the first of toHost_
    std::map<std::uint8_t, camsim::PipeAnswer> answers_;
    std::function<void()> wake_ = [] {};
};

}  // namespace zlk::test
