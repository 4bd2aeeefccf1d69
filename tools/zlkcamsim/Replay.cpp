#include "tools/zlkcamsim/Replay.h"

#include <algorithm>
#include <array>

#include "tools/zlkcamsim/Responder.h"
#include "usbscan/recording/ContainerText.h"

namespace zlk::camsim {
namespace {

using End = RecordedAnswer::End;
using Kind = PipeStep::Kind;

/// The recorded bytes of a piece that begins at `position` of its answer. The ids that lie in it as
/// a whole are changed by `shift`, so that each keeps its distance from the id of its command.
Bytes withIds(const RecordedPiece& piece, std::uint64_t position, const RecordedAnswer& answer,
              std::uint32_t shift) {
    Bytes bytes = piece.bytes;
    const auto& places = answer.idPlaces;
    for (auto next = std::ranges::lower_bound(places, position); next != places.end(); ++next) {
        const std::uint64_t place = *next;
        // This id isn't whole among the recorded bytes of this piece, so those that follow aren't,
        // either.
        if (place - position + 4 > bytes.size()) break;
        const ByteView at = ByteView(bytes).subspan(static_cast<std::size_t>(place - position));
        Bytes id;
        appendNumber(id, loadNumber(at, 4) + shift, 4);
        std::ranges::copy(id, bytes.begin() + static_cast<std::ptrdiff_t>(place - position));
    }
    return bytes;
}

/// Sends zeros in the place of bytes that weren't recorded.
void sendZeros(BulkInPipe& pipe, std::uint64_t count) {
    static const Payload zeros = Payload::of(Bytes(1 << 20));
    while (count > 0) {
        const auto part =
            static_cast<std::size_t>(std::min<std::uint64_t>(count, zeros.bytes.size()));
        pipe.append({Kind::Send, zeros.part(0, part), {}});
        count -= part;
    }
}

}  // namespace

bool Replay::isOfTheSession(Code operation) {
    return operation == operation::OpenSession || operation == operation::CloseSession;
}

std::string Replay::textOf(const Message& command) {
    return usbscan::containerText(command.encode(Command));
}

Recording::Question Replay::questionOf(const Message& command) {
    Recording::Question question{command.code, command.parameters};
    while (!question.second.empty() && question.second.back() == 0) question.second.pop_back();
    return question;
}

bool Replay::takesData(const Message& command) const {
    return recording_.takeData.contains(command.code) || Responder::takesData(command.code);
}

const RecordedAnswer* Replay::answerTo(const Message& command) {
    const Recording::Question question = questionOf(command);
    const auto found = recording_.answers.find(question);
    if (found == recording_.answers.end()) {
        // The virtual camera answers OpenSession and CloseSession by itself.
        if (!isOfTheSession(command.code)) say_(textOf(command) + " was never recorded");
        return nullptr;
    }
    std::size_t& played = played_[question];
    // The last recorded answer is repeated.
    const RecordedAnswer& answer = found->second[std::min(played, found->second.size() - 1)];
    ++played;
    // Whether a session is open depends on what was asked here, not on what was asked during the
    // recording. If the recorded answer only says whether one was open, the camera answers by
    // itself.
    constexpr std::array outcomes{response::OK, response::SessionAlreadyOpen,
                                  response::SessionNotOpen};
    const bool isSessions = answer.end == End::Complete &&
                            std::ranges::find(outcomes, answer.response) != outcomes.end();
    return isOfTheSession(command.code) && isSessions ? nullptr : &answer;
}

void Replay::play(const RecordedAnswer& answer, const Message& command, BulkInPipe& pipe) const {
    const std::uint32_t shift = command.id - answer.commandId;
    // The pieces are sent with the ends of transfers that they had, because hosts are tested with
    // those, too.
    std::uint64_t position = 0, missing = 0;
    std::size_t count = 0;
    for (const RecordedPiece& piece : answer.pieces) {
        if (!piece.bytes.empty())
            pipe.append({Kind::Send, Payload::of(withIds(piece, position, answer, shift)), {}});
        const std::uint64_t left = piece.length - piece.bytes.size();
        sendZeros(pipe, left);
        if (piece.endsTransfer) pipe.append({Kind::End, {}, {}});
        // The transaction is complete with the response. What follows may be read by the host, or
        // not.
        if (++count == answer.piecesOfResponse) pipe.append({Kind::Completed, {}, {}});
        position += piece.length;
        missing += left;
    }
    // The response may have been missed in bytes that weren't recorded.
    if (answer.end == End::Complete && answer.piecesOfResponse == 0)
        pipe.append({Kind::Completed, {}, {}});
    if (answer.end == End::Stall) pipe.append({Kind::Stall, {}, {}});
    if (answer.end == End::Silence) pipe.append({Kind::Silence, {}, {}});
    if (missing > 0)
        say_(textOf(command) + " was recorded without " + std::to_string(missing) +
             " of its bytes; zeros stand for them");
}

}  // namespace zlk::camsim
