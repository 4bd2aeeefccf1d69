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
                // Bytes that didn't fill a packet have been dropped. The next round looks at the
                // step after them.
                break;
            case Kind::End:
                steps_.pop_front();
                passCompleted();
                return {PipeAnswer::Accepted, {}, true, {}};
            case Kind::Wait:
                // The step stays in front until its time is over.
                return wait(next.delay);
            case Kind::Stall:
                halt();
                break;
            case Kind::Silence:
                // This step stays until the pipe is cleared.
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
    // As many bytes of neighbouring steps as fit are given at once.
    std::size_t count = 0;
    auto behind = steps_.begin();
    for (; behind != steps_.end() && behind->kind == Kind::Send && count < room; ++behind)
        count += behind->payload.bytes.size();
    count = std::min(count, room);
    const bool ends = count < room && behind != steps_.end() && behind->kind == Kind::End;
    // Only the end of a transfer may send a packet that isn't full. Without an end only whole
    // packets are given, and the rest waits for the bytes that follow.
    const std::size_t given = ends ? count : count - count % packetSize_;
    Payload piece;
    // Bytes of a single step are handed out where they lie; only a mixture is copied.
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
    // A part of a packet can't be sent if neither bytes nor an end follow it. It is dropped then,
    // so that the script goes on.
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
    // An End at exactly `room` bytes stays in the script, and gives a packet of its own next time.
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

/// Transactions are completed at once and not with the next request: the host may send its next
/// command before it asks for more.
void BulkInPipe::passCompleted() {
    while (!steps_.empty() && steps_.front().kind == Kind::Completed) {
        steps_.pop_front();
        listener_.transactionCompleted();
        // A stall after the response has to be there before the next command.
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
