#include "tools/zlkcamsim/BulkInPipe.h"

#include <algorithm>

namespace zlk::camsim {

using Kind = PipeStep::Kind;

PipeBytes BulkInPipe::take(std::size_t room) {
    while (!halted_ && !steps_.empty()) {
        const PipeStep& next = steps_.front();
        switch (next.kind) {
            case Kind::Send:
                if (PipeBytes taken = takeBytes(room); taken.answer == PipeAnswer::Accepted)
                    return taken;
                break;
            case Kind::End:
                steps_.pop_front();
                passCompleted();
                return {PipeAnswer::Accepted, {}, true, {}};
            case Kind::Wait:
                return wait(next.delay);
            case Kind::Stall:
                halt();
                break;
            case Kind::Silence:
                return {};
            case Kind::Pulled:
                steps_.pop_front();
                listener_.cablePulled();
                return {};
            case Kind::Completed:
                passCompleted();
                break;
        }
    }
    return {halted_ ? PipeAnswer::Stalled : PipeAnswer::NotNow, {}, false, {}};
}

PipeBytes BulkInPipe::takeBytes(std::size_t room) {
    std::size_t count = 0;
    auto behind = steps_.begin();
    for (; behind != steps_.end() && behind->kind == Kind::Send && count < room; ++behind)
        count += behind->payload.bytes.size();
    count = std::min(count, room);
    const bool ends = count < room && behind != steps_.end() && behind->kind == Kind::End;
    // Where the transfer doesn't end, there are only whole packets.
    const std::size_t given = ends ? count : count - count % packetSize_;
    Payload piece;
    if (Payload& first = steps_.front().payload; first.bytes.size() >= given) {
        piece = first.part(0, given);
    } else {
        Bytes copy;
        copy.reserve(given);
        for (auto step = steps_.begin(); step != behind; ++step) {
            const ByteView bytes = step->payload.bytes;
            const std::size_t part = std::min(bytes.size(), given - copy.size());
            copy.insert(copy.end(), bytes.begin(),
                        bytes.begin() + static_cast<std::ptrdiff_t>(part));
        }
        piece = Payload::of(std::move(copy));
    }
    // A part of a packet that never becomes whole is never sent.
    const bool stuck = given == 0 && !ends;
    for (std::size_t left = stuck ? count : given; !steps_.empty();) {
        PipeStep& step = steps_.front();
        if (step.kind != Kind::Send || (left == 0 && !step.payload.bytes.empty())) break;
        const std::size_t part = std::min(left, step.payload.bytes.size());
        step.payload.bytes = step.payload.bytes.subspan(part);
        left -= part;
        if (step.payload.bytes.empty()) steps_.pop_front();
    }
    if (stuck) return {};
    if (ends) steps_.pop_front();
    passCompleted();
    return {PipeAnswer::Accepted, piece.bytes, ends, piece.keeper};
}

PipeBytes BulkInPipe::wait(std::chrono::milliseconds delay) {
    if (!delay_.running())
        delay_.start(delay, [this] {
            steps_.pop_front();
            listener_.pipeReady();
        });
    return {};
}

/// At once, since the host's next command may come before it asks for more.
void BulkInPipe::passCompleted() {
    while (!steps_.empty() && steps_.front().kind == Kind::Completed) {
        steps_.pop_front();
        listener_.transactionCompleted();
        if (!steps_.empty() && steps_.front().kind == Kind::Stall) halt();
    }
}

void BulkInPipe::halt() {
    steps_.clear();
    halted_ = true;
    listener_.pipeStalled();
}

void BulkInPipe::clear() {
    steps_.clear();
    delay_.stop();
}

}  // namespace zlk::camsim
