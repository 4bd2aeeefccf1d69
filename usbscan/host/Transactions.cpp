#include "usbscan/host/Transactions.h"

#include <algorithm>
#include <string>
#include <utility>

#include "usbscan/host/ControlAnswers.h"

namespace zlk::usbscan {
namespace {

constexpr std::uint64_t unknownLength = ~std::uint64_t{};
// After more recoveries than this without a completed transaction between them, the device counts
// as gone.
constexpr unsigned maxRecoveriesInARow = 3;
// A transfer that fills its packets may be followed by a zero-length packet, and some devices send
// one too many. A device that goes on is out of step, and nothing else would limit a client's
// queue.
constexpr unsigned maxZeroPacketsInARow = 8;
// A device may take a command while its bulk-in pipe is halted. Once the pipe is cleared, the
// answer has to begin within this time.
constexpr std::chrono::milliseconds patienceAfterHalt{1000};
// A device in good order takes a command in less time.
constexpr std::chrono::milliseconds promptly{100};
// How long a zero-length packet may take that is due after a response.
constexpr std::chrono::milliseconds zeroPacketPatience{100};

}  // namespace

Transactions::Transactions(EventLoop& loop, UsbDevice& device, ControlQueue& controls, Owner& owner)
    : device_(device),
      owner_(owner),
      recovery_(loop, device, controls),
      follower_(device.facts().bulkIn.maximumPacketSize),
      progress_(loop),
      lateZeroPacket_(loop) {
    device_.setListener(this);
}

void Transactions::settle() {
    if (std::exchange(settled_, true)) return;
    recovery_.settle([this](Recovery::Outcome outcome) { recovered(outcome); });
}

void Transactions::take(ClientConnection& from, const WritePart& part) {
    const bool whole = part.first && part.last && part.bytes.size() >= containerHeaderSize;
    if (whole && containerType(part.bytes) == ContainerType::Command) {
        commands_.push_back({&from, part});
        nextCommand();
    } else if (transaction_.open && transaction_.owner == &from && transaction_.turn == part.turn) {
        // Some devices lose a read that is pending while data is sent to them.
        device_.stopReading();
        noteDataToSend(part);
        write(from, part);
    } else {
        // The transaction of these bytes has failed meanwhile, or there never was one.
        if (part.last) from.sendError(MessageKind::Failed, ERROR_OPERATION_ABORTED, part.turn);
        from.resume();
    }
}

void Transactions::giveUp(ClientConnection& client) {
    if (transaction_.open && transaction_.owner == &client) recover("given up");
}

void Transactions::dropCommands(ClientConnection& client) {
    const auto isIts = [&](const Command& command) { return command.from == &client; };
    if (std::erase_if(commands_, isIts) > 0) client.resume();
}

void Transactions::lost(ClientConnection& client) {
    std::erase_if(commands_, [&](const Command& command) { return command.from == &client; });
    if (transaction_.owner != &client) return;
    transaction_.owner = nullptr;
    // If the client is found gone only when the response is sent to it, nothing needs recovery.
    if (transaction_.open && !isComplete()) recover("its client is gone");
}

bool Transactions::mayBeDestroyed(const ClientConnection& client) {
    if (writer_ != &client) return true;
    writerLeft_ = true;
    device_.cancelWrite();
    return false;
}

void Transactions::end() {
    ended_ = true;
    transaction_.open = false;
    progress_.stop();
    lateZeroPacket_.stop();
    device_.setListener(nullptr);
}

void Transactions::nextCommand() {
    if (ended_ || recovering() || commands_.empty()) return;
    // Clients exclude one another by the port's mutex, so a new command shows that nobody waits for
    // the end of the open transaction.
    if (transaction_.open) {
        if (transaction_.owner != commands_.front().from) tellOwner(ERROR_OPERATION_ABORTED);
        return recover("overtaken by a new command");
    }
    const Command command = commands_.front();
    commands_.pop_front();
    lateZeroPacket_.stop();
    device_.stopReading();
    command.from->dropData();
    transaction_ = {.owner = command.from,
                    .turn = command.part.turn,
                    .id = containerTransaction(command.part.bytes),
                    .code = containerCode(command.part.bytes),
                    .open = true};
    follower_.reset(transaction_.id, habits_.bringsMuch[transaction_.code]
                                         ? areaSlotSize
                                         : ContainerFollower::dueOfUnknown);
    command.from->hasCommanded = true;
    write(*command.from, command.part);
}

void Transactions::closeIfComplete() {
    if (!transaction_.open || !isComplete()) return;
    transaction_.open = false;
    progress_.stop();
    recoveriesInARow_ = 0;
    const bool isLeft = device_.stopReading();
    habits_.bringsData[transaction_.code] = transaction_.dataEnded && !isLeft;
    // If the response filled its packets, the zero-length packet after it is read now, or it would
    // come before the next answer. Many devices leave the packet out, so the read is taken back
    // after a while.
    if (zeroPacketOwed_) {
        device_.read(1, false);
        lateZeroPacket_.start(zeroPacketPatience, [this] { device_.stopReading(); });
    }
    nextCommand();
}

void Transactions::fail(DWORD error) {
    if (!transaction_.open) return;
    tellOwner(error);
    recover("it failed", true);
}

void Transactions::tellOwner(DWORD error) {
    // The transaction is closed first: an owner that turns out to be gone needs no recovery.
    transaction_.open = false;
    ClientConnection* const owner = transaction_.owner;
    if (!owner) return;
    owner->dropData();
    owner->sendError(MessageKind::Failed, error, transaction_.turn);
}

void Transactions::noteDataToSend(const WritePart& part) {
    std::optional<std::uint64_t>& left = transaction_.dataToSend;
    habits_.takesData[transaction_.code] = true;
    if (!left) left = part.bytes.size() >= 4 ? containerLength(part.bytes) : unknownLength;
    *left -= std::min<std::uint64_t>(*left, part.bytes.size());
}

void Transactions::write(ClientConnection& from, const WritePart& part) {
    transaction_.sending = !part.last;
    writer_ = &from;
    writingSince_ = EventLoop::Clock::now();
    watchProgress();
    device_.write(part.bytes, part.last, [this](UsbStatus status) { written(status); });
}

void Transactions::written(UsbStatus status) {
    ClientConnection* const writer = std::exchange(writer_, nullptr);
    if (status == UsbStatus::Gone) return owner_.deviceGone();
    if (std::exchange(writerLeft_, false)) {
        owner_.released(*writer);
    } else {
        writer->resume();
    }
    const bool wasTaken = std::exchange(transaction_.taken, status == UsbStatus::Done);
    if (recoverAfterWrite_) return recoverAfter(status, wasTaken);
    if (status == UsbStatus::Stalled) device_.clearHalt(device_.facts().bulkOut.address);
    if (status != UsbStatus::Done) return fail(lastErrorOf(status));
    if (transaction_.open) watchProgress();
    closeIfComplete();
    readOn();
}

void Transactions::recoverAfter(UsbStatus status, bool wasTaken) {
    answerMayCome_ = answerMayCome_ && status == UsbStatus::Done;
    // A command is one packet, so a device that hasn't taken it has nothing to end. A device that
    // doesn't take it for longer than `promptly` may be stuck, and is recovered.
    const bool justBegun = EventLoop::Clock::now() - writingSince_ < promptly;
    if (status != UsbStatus::Cancelled || wasTaken || !justBegun) return startRecovery();
    recoverAfterWrite_ = false;
    recovered(Recovery::Outcome::SessionAlive);
}

/// A read is pending only while the device owes data or a response, since host controllers and
/// devices get out of step over reads that have to be taken back. Only closeIfComplete() reads
/// after the response, for a zero-length packet that is due.
void Transactions::readOn() {
    const bool wanted = transaction_.open && !transaction_.answered;
    if (!wanted || transaction_.sending || writer_) return;
    // With `andResponse`, the transfer for the response is in flight before the data has ended, so
    // that the response needn't wait for a transfer.
    const bool andResponse = habits_.bringsData[transaction_.code] && !transaction_.dataEnded;
    device_.read(follower_.due(), andResponse);
}

void Transactions::arrived(UsbPiece piece) {
    cuts_.clear();
    follower_.follow(piece.bytes, piece.endsTransfer, cuts_);
    if (recovering())
        return recovery_.arrived(piece.bytes,
                                 std::ranges::any_of(cuts_, &ContainerCut::endsResponse));
    for (const ContainerCut& cut : cuts_) {
        if (cut.bytes.empty())
            zeroPacket();
        else
            data(cut, cut.isHeld ? nullptr : piece.keeper);
    }
    transaction_.heard = true;
    owner_.heard();
    if (transaction_.open) watchProgress();
    closeIfComplete();
    readOn();
}

void Transactions::readingStopped(UsbStatus why) {
    if (why == UsbStatus::Gone) return owner_.deviceGone();
    if (recovery_.running()) return recovery_.stalled();
    // The halt is cleared in any case: reading goes on here, in a recovery, or by the next command.
    device_.clearHalt(device_.facts().bulkIn.address);
    if (recoverAfterWrite_) return;  // the recovery hasn't begun
    const bool maybeOlder = why == UsbStatus::Stalled && transaction_.open && !transaction_.heard &&
                            !transaction_.cleared;
    if (!maybeOlder) return fail(lastErrorOf(why));
    // The pipe may have been halted since the last transaction. Then the answer to this one still
    // comes.
    transaction_.cleared = true;
    progress_.start(patienceAfterHalt, [this] { fail(ERROR_GEN_FAILURE); });
    readOn();
}

void Transactions::zeroPacket() {
    const bool owed = std::exchange(zeroPacketOwed_, false);
    lateZeroPacket_.stop();
    if (transaction_.open && ++transaction_.zeroPackets > maxZeroPacketsInARow)
        return fail(ERROR_GEN_FAILURE);
    if (ClientConnection* owner = transaction_.owner; owner && (transaction_.open || owed))
        owner->send({0, MessageKind::ZeroPacket, 0, transaction_.turn});
}

void Transactions::data(const ContainerCut& cut, const std::shared_ptr<const void>& keeper) {
    zeroPacketOwed_ = cut.zeroPacketDue;
    transaction_.zeroPackets = 0;
    if (!transaction_.open || !transaction_.owner) return;
    const int flags = (cut.zeroPacketDue ? zeroPacketDue : 0) |
                      (cut.endsContainer ? containerEnds : 0) | (cut.endsResponse ? answerEnds : 0);
    // Most operations bring little data each time, or much each time.
    if (cut.endsData) {
        habits_.bringsMuch[transaction_.code] = cut.container > ContainerFollower::dueOfUnknown;
        transaction_.dataEnded = true;
    }
    if (cut.endsResponse) transaction_.answered = true;
    // A client can't do anything with the end of the data before it has the response.
    transaction_.owner->send(
        {0, MessageKind::Data, static_cast<std::uint8_t>(flags), transaction_.turn}, cut.bytes,
        keeper, cut.endsData ? ClientConnection::When::WithTheNext : ClientConnection::When::Now);
}

void Transactions::watchProgress() {
    const ClientConnection* owner = transaction_.owner;
    const std::chrono::milliseconds limit(owner ? owner->opened.transferTimeout : 0);
    progress_.start(limit, [this] {
        // A client that is suspended, or shows a dialog, is not the camera's fault.
        if (awaitsClient())
            watchProgress();
        else
            timeOut();
    });
}

void Transactions::timeOut() {
    if (!transaction_.heard && transaction_.owner) unheard_ = transaction_.owner->process();
    fail(ERROR_SEM_TIMEOUT);
}

bool Transactions::awaitsClient() const {
    const bool owesData = transaction_.sending && !writer_;
    return transaction_.owner && (owesData || transaction_.owner->isBehind());
}

bool Transactions::mayBeAnswered() const {
    const std::uint64_t unsent =
        transaction_.dataToSend.value_or(habits_.takesData[transaction_.code] ? 1 : 0);
    return !transaction_.answered && unsent == 0;
}

void Transactions::recover(const char* why, bool inVain) {
    transaction_.open = false;
    answerMayCome_ = !inVain && mayBeAnswered();
    progress_.stop();
    owner_.tellAll("Cancelling transaction " + std::to_string(transaction_.id) +
                   " of the device: " + why);
    if (transaction_.owner) transaction_.owner->dropData();
    if (++recoveriesInARow_ > maxRecoveriesInARow) return owner_.deviceGone();
    recoverAfterWrite_ = true;
    if (writer_)
        device_.cancelWrite();
    else
        startRecovery();
}

void Transactions::startRecovery() {
    recoverAfterWrite_ = false;
    lateZeroPacket_.stop();
    recovery_.start(
        {.id = transaction_.id, .mayBeAnswered = answerMayCome_, .again = recoveriesInARow_ > 1},
        [this](Recovery::Outcome outcome) { recovered(outcome); });
}

void Transactions::recovered(Recovery::Outcome outcome) {
    if (outcome == Recovery::Outcome::DeviceGone) return owner_.deviceGone();
    if (outcome == Recovery::Outcome::SessionLost) owner_.sessionLost();
    const pid_t unheard = std::exchange(unheard_, 0);
    if (outcome == Recovery::Outcome::LeftInPeace && unheard != 0) owner_.unheardBy(unheard);
    zeroPacketOwed_ = false;
    nextCommand();
}

}  // namespace zlk::usbscan
