#include "tools/zlkcamsim/VirtualCamera.h"

#include <algorithm>

#include "tools/zlkcamsim/Descriptors.h"
#include "tools/zlkcamsim/ReplyScript.h"

namespace zlk::camsim {
namespace {

constexpr std::size_t mostCommandBytes = ContainerHeader::size + 4 * Message::maxParameters;

}  // namespace

VirtualCamera::VirtualCamera(usbscan::EventLoop& loop, const Identity& identity,
                             std::uint16_t packetSize, const Traits& traits)
    : loop_(loop),
      identity_(identity),
      responder_(identity, traits, store_, session_),
      judge_(session_),
      bulkIn_(loop, packetSize, *this),
      outDelay_(loop) {
    responder_.setEventSink([this](const Message& event, std::function<void()> seen) {
        raise(event, std::move(seen));
    });
}

PipeAnswer VirtualCamera::out(ByteView bytes, bool ends) {
    // The order matters: a halt is reported even if the pipe is silent as well, and faults see the
    // bytes before they are taken.
    if (outHalted_) return PipeAnswer::Stalled;
    if (isPulled_ || outSilent_ || outDelay_.running()) return PipeAnswer::NotNow;
    if (const auto held = strike(bytes)) return *held;
    log_.add(Channel::BulkOut, bytes, ends);
    add(bytes);
    if (ends) transferArrived();
    return PipeAnswer::Accepted;
}

std::optional<PipeAnswer> VirtualCamera::strike(ByteView bytes) {
    // The faults of a phase are chosen once, with its first bytes.
    if (!strikersTaken_ && data_) {
        takeStrikers(Phase::Data, open_->code);
    } else if (!strikersTaken_ && bytes.size() >= ContainerHeader::size) {
        const ContainerHeader header = ContainerHeader::decode(bytes);
        takeStrikers(Phase::Command, header.code);
        // A fault may refuse or delay the command, and the host can't know whether its id counts.
        if (!striking_.empty()) judge_.transactionBroken(header.id);
    }
    strikersTaken_ = true;
    // The faults strike in the order in which they were armed, and each waits for its place in the
    // payload.
    while (!striking_.empty() && isReached(striking_.front(), bytes)) {
        const Fault fault = std::move(striking_.front());
        striking_.pop_front();
        if (const auto held = apply(fault)) return held;
    }
    return std::nullopt;
}

void VirtualCamera::takeStrikers(Phase phase, Code operation) {
    const std::vector<Fault> taken = faults_.take(phase, operation);
    striking_.assign(taken.begin(), taken.end());
}

bool VirtualCamera::isReached(const Fault& fault, ByteView bytes) const {
    // A fault without a place, or in a command, strikes at once.
    if (!data_ || fault.at == 0) return true;
    const ByteView start = head_.empty() ? bytes : ByteView(head_);
    if (start.size() < ContainerHeader::size) return false;
    const std::uint64_t length = ContainerHeader::decode(start).length;
    const std::uint64_t payload = length - std::min<std::uint64_t>(length, ContainerHeader::size);
    return arrived_ + bytes.size() >= ContainerHeader::size + fault.offsetIn(payload);
}

std::optional<PipeAnswer> VirtualCamera::apply(const Fault& fault) {
    switch (fault.kind) {
        case FaultKind::Unplug:
            cablePulled();
            return PipeAnswer::NotNow;
        case FaultKind::Stall:
            breakTransaction();
            outHalted_ = true;
            return PipeAnswer::Stalled;
        case FaultKind::Silence:
            outSilent_ = true;
            return PipeAnswer::NotNow;
        case FaultKind::Slow:
            outDelay_.start(std::chrono::milliseconds(fault.value), [this] { wake_(); });
            return PipeAnswer::NotNow;
        case FaultKind::Answer:
            forcedAnswer_ = static_cast<Code>(fault.value);
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

void VirtualCamera::add(ByteView bytes) {
    // Only the header of data is kept here, but a command as a whole.
    const std::size_t room = (data_ ? ContainerHeader::size : mostCommandBytes) - head_.size();
    const ByteView head = bytes.first(std::min(bytes.size(), room));
    head_.insert(head_.end(), head.begin(), head.end());
    arrived_ += bytes.size();
    if (data_) data_->add(bytes.subspan(head.size()));
}

void VirtualCamera::transferArrived() {
    if (head_.size() < ContainerHeader::size) {
        judge_.blame("a transfer of " + std::to_string(arrived_) + " bytes: no container");
    } else {
        const ContainerHeader header = ContainerHeader::decode(head_);
        if (data_) {
            judge_.data(header, arrived_, *open_);
            execute();
        } else {
            commandArrived(header);
        }
    }
    forgetTransfer();
}

void VirtualCamera::forgetTransfer() {
    head_.clear();
    arrived_ = 0;
    striking_.clear();
    strikersTaken_ = false;
}

void VirtualCamera::commandArrived(const ContainerHeader& header) {
    judge_.command(header, arrived_, open_.has_value());
    // What is no command gets no answer; the judge has recorded it.
    if (header.type != Command) return;
    ++transactions_;
    if (open_) bulkIn_.clear();  // the host hasn't fetched the answer to the last command
    Message command{header.code, header.id, {}};
    for (std::size_t at = ContainerHeader::size; at + 4 <= head_.size(); at += 4)
        command.parameters.push_back(
            static_cast<std::uint32_t>(loadNumber(ByteView(head_).subspan(at), 4)));
    // OpenSession has id 0, and doesn't count.
    if (session_.isOpen() && command.code != operation::OpenSession)
        session_.lastTransaction = command.id;
    open_ = std::move(command);
    // An operation with a data phase runs when its data is complete, any other one runs now.
    if (replay_ ? replay_->takesData(*open_) : Responder::takesData(open_->code))
        data_ = replay_ ? std::make_unique<Spool>(0) : responder_.spoolFor(*open_);
    else
        execute();
}

void VirtualCamera::execute() {
    // A fault's answer has precedence over the recorded one, and the recorded one over the
    // responder's.
    if (replay_ && !forcedAnswer_ && playRecorded()) return;
    Reply reply = forcedAnswer_ ? failure(*forcedAnswer_) : run();
    forcedAnswer_.reset();
    data_.reset();
    ReplyScript(bulkIn_, faults_).play(*open_, std::move(reply));
    wake_();
}

void VirtualCamera::replay(Recording recording, std::function<void(const std::string&)> say) {
    identity_ = recording.identity();
    replay_.emplace(std::move(recording), std::move(say));
}

bool VirtualCamera::playRecorded() {
    const RecordedAnswer* const recorded = replay_->answerTo(*open_);
    // Only the camera itself knows whether a session is open.
    if (!recorded && Replay::isOfTheSession(open_->code)) return false;
    data_.reset();
    if (recorded) {
        replay_->play(*recorded, *open_, bulkIn_);
        for (const Bytes& event : recorded->events) sendInterrupt(event);
    } else {
        // The judge records this as a violation. Replay has written a line about it already.
        judge_.blame("never recorded: " + Replay::textOf(*open_));
        ReplyScript(bulkIn_, faults_).play(*open_, failure(response::OperationNotSupported));
    }
    wake_();
    return true;
}

Reply VirtualCamera::run() {
    try {
        return responder_.execute(*open_, data_.get());
    } catch (const std::exception&) {
        return failure(response::GeneralError);  // for instance because a file has vanished
    }
}

void VirtualCamera::breakTransaction() {
    // The transaction gets no response any more, and its id may come again.
    if (open_) judge_.transactionBroken(open_->id);
    open_.reset();
    data_.reset();
    forcedAnswer_.reset();
    forgetTransfer();
    outSilent_ = false;
    outDelay_.stop();
    bulkIn_.clear();
    log_.breakOff(Channel::BulkOut);
    log_.breakOff(Channel::BulkIn);
}

PipeBytes VirtualCamera::in(std::size_t room) {
    if (isPulled_) return {};
    PipeBytes taken = bulkIn_.take(room - room % bulkPacketSize());
    if (taken.answer == PipeAnswer::Accepted)
        log_.add(Channel::BulkIn, taken.bytes, taken.endsTransfer);
    return taken;
}

PipeBytes VirtualCamera::interrupt(std::size_t room) {
    if (isPulled_ || interrupts_.empty()) return {};
    const auto [transfer, seen] = std::move(interrupts_.front());
    interrupts_.pop_front();
    seen();
    const ByteView bytes = transfer.bytes.first(std::min(room, transfer.bytes.size()));
    log_.add(Channel::Interrupt, bytes, true);
    return {PipeAnswer::Accepted, bytes, true, transfer.keeper};
}

void VirtualCamera::sendInterrupt(Bytes transfer, std::function<void()> seen) {
    // A host that doesn't read events must not fill the memory.
    constexpr std::size_t mostWaiting = 64;
    if (interrupts_.size() == mostWaiting) return seen();
    interrupts_.push_back({Payload::of(std::move(transfer)), std::move(seen)});
    wake_();
}

void VirtualCamera::raise(const Message& event, std::function<void()> seen) {
    if (!eventsEnabled_ || !session_.isOpen()) return seen();
    sendInterrupt(event.encode(Event), std::move(seen));
}

void VirtualCamera::loseSession() {
    breakTransaction();
    responder_.closeSession();
    judge_.sessionLost();
}

void VirtualCamera::cablePulled() {
    isPulled_ = true;
    // `pulled_` is called from the loop, because the device can't be unplugged while the bus is
    // calling this object.
    loop_.post([this, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) pulled_();
    });
}

}  // namespace zlk::camsim
