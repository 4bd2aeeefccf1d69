#include "usbscan/host/Recovery.h"

#include <array>
#include <cstring>
#include <utility>

#include "usbscan/host/ContainerFollower.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

// Requests of the still image class, and the codes in their data.
constexpr std::uint8_t toInterface = 0x21, fromInterface = 0xA1;
constexpr std::uint8_t cancelRequest = 0x64, deviceResetRequest = 0x66, statusRequest = 0x67;
constexpr std::uint16_t cancellationCode = 0x4001;
constexpr std::uint16_t ready = 0x2001;

// The pause between two questions for the status of a device that is busy.
constexpr auto statusPause = 20ms;
// A device that has answered counts as quiet after this time.
constexpr auto silenceAfterAnswer = 50ms;
// Before the response a device may be quiet for longer, even in the middle of a picture: it may be
// looking for the picture on a slow card, or be busy with something else.
constexpr auto silenceBeforeAnswer = 1500ms;
// A device that doesn't know a request should stall it, but some don't react at all.
constexpr auto answerLimit = 1s;
constexpr auto stageLimit = 3s;
// A device that still sends after this time is told to stop.
constexpr auto peaceLimit = 2s;
constexpr unsigned maxStalls = 8;
// Bytes. A read is reported only when it has ended, so it must not take longer than the time that
// counts as quiet; at full speed (12 Mbit/s) this much doesn't.
constexpr std::uint64_t drainedAtOnce = 16 * 1024;

}  // namespace

Recovery::Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls)
    : device_(device), controls_(controls), pause_(loop), limit_(loop) {}

void Recovery::start(const Transaction& transaction, Done done) {
    done_ = std::move(done);
    transaction_ = transaction;
    stalls_ = 0;
    quiet_ = answered_ = busy_ = false;
    tryPeace();
}

void Recovery::settle(Done done) {
    done_ = std::move(done);
    transaction_.reset();
    stalls_ = 0;
    quiet_ = busy_ = false;
    answered_ = true;  // a device that is ready owes no answer, unless it sends something
    enter(Stage::Settle, answerLimit);
    askStatus();
}

void Recovery::enter(Stage stage, std::chrono::milliseconds limit) {
    stage_ = stage;
    ++epoch_;
    draining_ = false;
    pause_.stop();
    device_.stopReading();
    limit_.start(limit, [this] { nextStage(); });
}

UsbDevice::DoneWithBytes Recovery::inThisStage(UsbDevice::DoneWithBytes then) {
    return [this, epoch = epoch_, then = std::move(then)](UsbStatus status,
                                                          std::span<const std::byte> bytes) {
        if (epoch != epoch_) return;
        if (status == UsbStatus::Gone) return gone();
        then(status, bytes);
    };
}

void Recovery::tryPeace() {
    enter(Stage::Peace, peaceLimit);
    drain();
}

void Recovery::tryCancel() {
    enter(Stage::Cancel, answerLimit);
    std::array<std::byte, 6> data;
    std::memcpy(data.data(), &cancellationCode, 2);
    const std::uint32_t id = transaction_ ? transaction_->id : 0;
    std::memcpy(data.data() + 2, &id, sizeof id);
    const UsbRequest request{.requestType = toInterface,
                             .request = cancelRequest,
                             .index = device_.facts().interfaceNumber,
                             .out = data,
                             .patience = answerLimit};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte>) {
                      if (status != UsbStatus::Done) return nextStage();
                      limit_.start(stageLimit, [this] { nextStage(); });
                      askStatus();
                  }));
}

void Recovery::tryDeviceReset() {
    enter(Stage::DeviceReset, stageLimit);
    const UsbRequest request{.requestType = toInterface,
                             .request = deviceResetRequest,
                             .index = device_.facts().interfaceNumber,
                             .patience = stageLimit};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte>) {
                      if (status != UsbStatus::Done) return nextStage();
                      clearPipes();
                      askStatus();
                  }));
}

void Recovery::tryPortReset() {
    enter(Stage::PortReset, stageLimit);
    if (!device_.reset()) return finish(Outcome::DeviceGone);
    drain();
}

void Recovery::nextStage() {
    switch (stage_) {
        case Stage::Settle:
            // A device that doesn't report its state may still be sending something.
            return tryPeace();
        case Stage::Peace:
            return tryCancel();
        case Stage::Cancel:
            return cancelFailed();
        case Stage::DeviceReset:
            return tryPortReset();
        case Stage::PortReset:
            return finish(Outcome::DeviceGone);
    }
}

/// A device that says that it is busy understands requests, so it is asked to reset itself. A quiet
/// one is left alone the first time: it may be in order, and a port reset would end the session of
/// all clients.
void Recovery::cancelFailed() {
    if (busy_) return tryDeviceReset();
    if (quiet_ && !(transaction_ && transaction_->again)) return finish(Outcome::LeftInPeace);
    tryPortReset();
}

void Recovery::askStatus() {
    const UsbRequest request{.requestType = fromInterface,
                             .request = statusRequest,
                             .index = device_.facts().interfaceNumber,
                             .inLength = 64,
                             .patience = answerLimit};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte> bytes) {
                      statusCame(status, bytes);
                  }));
}

void Recovery::statusCame(UsbStatus status, std::span<const std::byte> bytes) {
    const bool answers = status == UsbStatus::Done && bytes.size() >= 4;
    std::uint16_t code = 0;
    if (answers) std::memcpy(&code, bytes.data() + 2, sizeof code);
    busy_ = answers && code != ready;
    if (stage_ == Stage::Settle) return busy_ ? tryCancel() : tryPeace();
    if (!answers) return nextStage();
    if (!busy_) return drain();
    // After the code come the addresses of the endpoints that the device has halted, 32 bits each.
    for (std::size_t at = 4; at + 4 <= bytes.size(); at += 4)
        device_.clearHalt(std::to_integer<std::uint8_t>(bytes[at]));
    device_.read(drainedAtOnce);
    pause_.start(statusPause, [this] { askStatus(); });
}

void Recovery::drain() {
    draining_ = true;
    device_.read(drainedAtOnce);
    const bool isOwed = !answered_ && (!transaction_ || transaction_->mayBeAnswered);
    const bool waits = stage_ == Stage::Peace && isOwed;
    pause_.start(waits ? silenceBeforeAnswer : silenceAfterAnswer, [this] {
        quiet_ = true;
        if (stage_ == Stage::DeviceReset || stage_ == Stage::PortReset)
            return finish(Outcome::SessionLost);
        // The id of an earlier host's transaction is unknown, so silence alone is no reason to
        // cancel it. The next command will show whether the device is ready.
        if (stage_ == Stage::Peace && !answered_ && transaction_) return nextStage();
        finish(Outcome::SessionAlive);
    });
}

void Recovery::arrived(std::span<const std::byte> piece, bool answers) {
    quiet_ = false;
    if (transaction_)
        answered_ = answered_ || answers;
    else if (!piece.empty())
        // What an earlier host left may begin in the middle of a picture, so only a piece that is
        // exactly a response counts.
        answered_ = isWholeResponse(piece);
    if (!draining_) return device_.read(drainedAtOnce);
    drain();
}

void Recovery::stalled() {
    if (++stalls_ > maxStalls) return nextStage();
    device_.clearHalt(device_.facts().bulkIn.address);
    device_.read(drainedAtOnce);
}

void Recovery::clearPipes() {
    device_.clearHalt(device_.facts().bulkIn.address);
    device_.clearHalt(device_.facts().bulkOut.address);
    device_.read(drainedAtOnce);
}

void Recovery::finish(Outcome outcome) {
    if (!done_) return;
    ++epoch_;
    draining_ = false;
    pause_.stop();
    limit_.stop();
    if (outcome != Outcome::DeviceGone) device_.stopReading();
    std::exchange(done_, nullptr)(outcome);
}

}  // namespace zlk::usbscan
