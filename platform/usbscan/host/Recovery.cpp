#include "platform/usbscan/host/Recovery.h"

#include <array>
#include <cstring>
#include <utility>

#include "platform/usbscan/host/ContainerFollower.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

// Requests of the still image class, and what it says in them.
constexpr std::uint8_t toInterface = 0x21, fromInterface = 0xA1;
constexpr std::uint8_t cancelRequest = 0x64, deviceResetRequest = 0x66, statusRequest = 0x67;
constexpr std::uint16_t cancellationCode = 0x4001;
constexpr std::uint16_t ready = 0x2001;

constexpr auto statusPause = 20ms;
// A device that has been quiet for so long has said it all.
constexpr auto quiet = 50ms;
constexpr auto stageLimit = 3s;
constexpr unsigned maxStalls = 8;

}  // namespace

Recovery::Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls)
    : device_(device), controls_(controls), pause_(loop), limit_(loop) {}

void Recovery::start(std::uint32_t transactionId, Done done) {
    done_ = std::move(done);
    transactionId_ = transactionId;
    stalls_ = 0;
    stage_ = Stage::Cancel;
    tryCancel();
}

void Recovery::settle(Done done) {
    done_ = std::move(done);
    transactionId_ = 0;
    stalls_ = 0;
    stage_ = Stage::Settle;
    ++epoch_;
    limit_.start(stageLimit, [this] { nextStage(); });
    device_.startReading();
    askStatus();
}

UsbDevice::DoneWithBytes Recovery::inThisStage(UsbDevice::DoneWithBytes then) {
    return [this, epoch = epoch_, then = std::move(then)](UsbStatus status,
                                                          std::span<const std::byte> bytes) {
        if (epoch != epoch_) return;
        if (status == UsbStatus::Gone) return gone();
        then(status, bytes);
    };
}

void Recovery::tryCancel() {
    ++epoch_;
    limit_.start(stageLimit, [this] { nextStage(); });
    std::array<std::byte, 6> data;
    std::memcpy(data.data(), &cancellationCode, 2);
    std::memcpy(data.data() + 2, &transactionId_, 4);
    const UsbRequest request{.requestType = toInterface,
                             .request = cancelRequest,
                             .index = device_.facts().interfaceNumber,
                             .out = data};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte>) {
                      if (status == UsbStatus::Done)
                          askStatus();
                      else
                          nextStage();
                  }));
}

void Recovery::tryDeviceReset() {
    ++epoch_;
    limit_.start(stageLimit, [this] { nextStage(); });
    const UsbRequest request{.requestType = toInterface,
                             .request = deviceResetRequest,
                             .index = device_.facts().interfaceNumber};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte>) {
                      if (status != UsbStatus::Done) return nextStage();
                      clearPipes();
                      askStatus();
                  }));
}

void Recovery::tryPortReset() {
    ++epoch_;
    limit_.start(stageLimit, [this] { nextStage(); });
    clearPipes();
    if (!device_.reset()) return finish(Outcome::DeviceGone);
    device_.startReading();
    drain();
}

void Recovery::nextStage() {
    draining_ = false;
    pause_.stop();
    switch (stage_) {
        case Stage::Settle:
            stage_ = Stage::Cancel;
            return tryCancel();
        case Stage::Cancel:
            stage_ = Stage::DeviceReset;
            return tryDeviceReset();
        case Stage::DeviceReset:
            stage_ = Stage::PortReset;
            return tryPortReset();
        case Stage::PortReset:
            return finish(Outcome::DeviceGone);
    }
}

void Recovery::askStatus() {
    const UsbRequest request{.requestType = fromInterface,
                             .request = statusRequest,
                             .index = device_.facts().interfaceNumber,
                             .inLength = 64};
    controls_.add(request, inThisStage([this](UsbStatus status, std::span<const std::byte> bytes) {
                      statusCame(status, bytes);
                  }));
}

void Recovery::statusCame(UsbStatus status, std::span<const std::byte> bytes) {
    const bool answered = status == UsbStatus::Done && bytes.size() >= 4;
    std::uint16_t code = 0;
    if (answered) std::memcpy(&code, bytes.data() + 2, sizeof code);
    // A device that knows no such request is taken to have nothing open.
    if (stage_ == Stage::Settle && (!answered || code == ready)) return drain();
    if (stage_ == Stage::Settle || !answered) return nextStage();
    if (code == ready) return drain();
    // Behind the code stand the endpoints that it has halted, a number of 32 bits each.
    for (std::size_t at = 4; at + 4 <= bytes.size(); at += 4)
        device_.clearHalt(std::to_integer<std::uint8_t>(bytes[at]));
    device_.startReading();
    pause_.start(statusPause, [this] { askStatus(); });
}

void Recovery::drain() {
    draining_ = true;
    device_.startReading();
    const bool alive = stage_ == Stage::Settle || stage_ == Stage::Cancel;
    pause_.start(quiet,
                 [this, alive] { finish(alive ? Outcome::SessionAlive : Outcome::SessionLost); });
}

void Recovery::arrived(std::span<const std::byte> bytes) {
    if (!draining_) return;
    if (stage_ != Stage::Settle) return drain();
    if (bytes.size() >= containerHeaderSize) transactionId_ = containerTransaction(bytes);
    nextStage();
}

void Recovery::stalled() {
    if (++stalls_ > maxStalls) return nextStage();
    device_.clearHalt(device_.facts().bulkIn.address);
    device_.startReading();
}

void Recovery::clearPipes() {
    device_.clearHalt(device_.facts().bulkIn.address);
    device_.clearHalt(device_.facts().bulkOut.address);
    device_.startReading();
}

void Recovery::finish(Outcome outcome) {
    if (!done_) return;
    ++epoch_;
    draining_ = false;
    pause_.stop();
    limit_.stop();
    std::exchange(done_, nullptr)(outcome);
}

}  // namespace zlk::usbscan
