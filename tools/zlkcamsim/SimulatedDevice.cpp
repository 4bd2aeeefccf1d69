#include "tools/zlkcamsim/SimulatedDevice.h"

#include <algorithm>
#include <utility>

#include "tools/zlkcamsim/Descriptors.h"
#include "usbscan/Protocol.h"

namespace zlk::camsim {
namespace {

using usbscan::UsbStatus;

// The area that the host shares with its clients has room for so many pieces of this size.
constexpr int mostPieces = usbscan::areaSlots;
constexpr std::size_t pieceSize = usbscan::areaSlotSize;

UsbStatus statusOf(PipeAnswer answer) {
    return answer == PipeAnswer::Stalled ? UsbStatus::Stalled : UsbStatus::Failed;
}

}  // namespace

SimulatedDevice::SimulatedDevice(usbscan::EventLoop& loop, UsbFunction& function)
    : loop_(loop), function_(function), outstanding_(std::make_shared<Outstanding>()) {
    outstanding_->device = this;
    std::ranges::copy(function.deviceDescriptor(), facts_.deviceDescriptor.begin());
    facts_.configuration = function.configurationDescriptor();
    const std::uint16_t packetSize = function.bulkPacketSize();
    facts_.bulkIn = {endpoint::BulkIn, packetSize, 0};
    facts_.bulkOut = {endpoint::BulkOut, packetSize, 0};
    facts_.interruptIn = {endpoint::InterruptIn, interruptPacketSize, 6};
    function_.setWake([this] { schedule(); });
}

SimulatedDevice::~SimulatedDevice() {
    function_.setWake([] {});
}

/// The task is dropped if this device is destroyed before the loop comes to it.
void SimulatedDevice::post(usbscan::EventLoop::Task task) {
    loop_.post([alive = std::weak_ptr(outstanding_), task = std::move(task)] {
        if (!alive.expired()) task();
    });
}

void SimulatedDevice::schedule() {
    // One call of pump() serves all that was asked for in the meantime.
    if (std::exchange(scheduled_, true)) return;
    post([this] { pump(); });
}

/// Each callback may destroy this device, so each further step checks whether the device still
/// exists.
void SimulatedDevice::pump() {
    const std::weak_ptr<Outstanding> alive = outstanding_;
    scheduled_ = false;
    pumpOut();
    if (!alive.expired()) pumpInterrupt();
    if (!alive.expired()) pumpIn();
}

void SimulatedDevice::pumpIn() {
    const std::weak_ptr<Outstanding> alive = outstanding_;
    // The number of pieces in one go is limited, so that a host that frees them at once can't keep
    // the loop from its other descriptors.
    for (int piece = 0; piece < mostPieces; ++piece) {
        // The host has to free a piece before it gets more.
        if (due_ == 0 || !listener_ || outstanding_->pieces >= mostPieces) return;
        const std::size_t room = roomFor(due_);
        // The function counts these bytes as sent, so they must be handed on.
        PipeBytes taken = function_.in(room);
        if (taken.answer == PipeAnswer::NotNow) return;
        due_ -= std::min<std::uint64_t>(due_, room);
        if (taken.answer != PipeAnswer::Accepted) {
            due_ = 0;
            listener_->readingStopped(statusOf(taken.answer));
            return;
        }
        listener_->arrived({taken.bytes, taken.endsTransfer, counted(std::move(taken.keeper))});
        if (alive.expired()) return;
    }
    schedule();
}

/// Wraps a keeper so that this device knows how many pieces the host holds, and goes on when one is
/// released. The host may hold pieces longer than the device lives.
std::shared_ptr<const void> SimulatedDevice::counted(std::shared_ptr<const void> keeper) {
    ++outstanding_->pieces;
    const void* const any = this;
    return {any, [keeper = std::move(keeper), weak = std::weak_ptr(outstanding_)](const void*) {
                const auto outstanding = weak.lock();
                if (!outstanding) return;
                --outstanding->pieces;
                outstanding->device->schedule();
            }};
}

/// `andNext` would allow reading ahead, which gains nothing here.
void SimulatedDevice::read(std::uint64_t due, bool) {
    due_ = due;
    schedule();
}

std::size_t SimulatedDevice::roomFor(std::uint64_t due) const {
    const std::size_t packet = facts_.bulkIn.maximumPacketSize;
    const std::uint64_t wanted = std::min<std::uint64_t>(due, pieceSize);
    return static_cast<std::size_t>((wanted + packet - 1) / packet * packet);
}

void SimulatedDevice::write(std::span<const std::byte> bytes, bool zeroPacket, Done done) {
    toWrite_ = bytes;
    zeroPacket_ = zeroPacket;
    written_ = std::move(done);
    schedule();
}

void SimulatedDevice::pumpOut() {
    while (written_) {
        const auto piece = toWrite_.first(std::min(toWrite_.size(), pieceSize));
        const bool last = piece.size() == toWrite_.size();
        // Only the last piece can end the transfer, by a short packet or a zero-length one.
        const bool isShort = piece.size() % function_.bulkPacketSize() != 0;
        const PipeAnswer answer = function_.out(piece, last && (isShort || zeroPacket_));
        if (answer == PipeAnswer::NotNow) return;
        if (answer != PipeAnswer::Accepted) return finishWrite(statusOf(answer));
        toWrite_ = toWrite_.subspan(piece.size());
        if (last) return finishWrite(UsbStatus::Done);
    }
}

void SimulatedDevice::finishWrite(UsbStatus status) {
    toWrite_ = {};
    if (const Done done = std::exchange(written_, {})) done(status);
}

void SimulatedDevice::cancelWrite() {
    if (!written_) return;
    // Done is called from the loop and not from here, as with a real device.
    toWrite_ = {};
    post([done = std::exchange(written_, {})] { done(UsbStatus::Cancelled); });
}

void SimulatedDevice::control(const usbscan::UsbRequest& request, DoneWithBytes done) {
    const SetupPacket setup{
        request.requestType, request.request, request.value, request.index,
        request.out.empty() ? request.inLength : static_cast<std::uint16_t>(request.out.size())};
    std::vector<std::byte> out(request.out.begin(), request.out.end());
    post([this, setup, out = std::move(out), done = std::move(done)] {
        const ControlAnswer answer = function_.control(setup, out);
        done(answer.stalled ? UsbStatus::Stalled : UsbStatus::Done, answer.bytes);
    });
}

void SimulatedDevice::waitForInterrupt(DoneWithBytes done) {
    interrupted_ = std::move(done);
    schedule();
}

void SimulatedDevice::pumpInterrupt() {
    if (!interrupted_) return;
    const PipeBytes taken = function_.interrupt(interruptPacketSize);
    if (taken.answer == PipeAnswer::NotNow) return;
    const bool good = taken.answer == PipeAnswer::Accepted;
    std::exchange(interrupted_, {})(good ? UsbStatus::Done : statusOf(taken.answer), taken.bytes);
}

void SimulatedDevice::cancelInterrupt() {
    if (!interrupted_) return;
    post([done = std::exchange(interrupted_, {})] { done(UsbStatus::Cancelled, {}); });
}

bool SimulatedDevice::clearHalt(std::uint8_t endpoint) {
    // A halt ends reading; the host asks anew afterwards.
    if (endpoint == facts_.bulkIn.address) stopReading();
    function_.clearHalt(endpoint);
    return true;
}

bool SimulatedDevice::reset() {
    stopReading();
    function_.busReset();
    return true;
}

}  // namespace zlk::camsim
