#include "tools/zlkcamsim/Recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "platform/text.h"
#include "tools/zlkcamsim/RecordedDevice.h"

namespace zlk::camsim {
namespace {

using usbscan::UsbEvent;
using End = RecordedAnswer::End;

// Limits that keep a malicious or wrong file from filling the memory.
constexpr std::size_t mostKept = 256 << 20;
constexpr std::uint32_t largestTransfer = 16 << 20;  // usbfs allows no more by default
constexpr std::size_t mostUnderWay = 1024;           // transfers

/// Turns the events of one device into questions (commands) and their answers.
class RecordingParser {
  public:
    explicit RecordingParser(Recording& recording) : recording_(recording) {}

    void add(const UsbEvent& event);
    void finish();

  private:
    // Takes an event of the bulk-out pipe: bytes of the host, which are a command or its data, or
    // the end of a transfer, which may be a stall.
    void addOut(const UsbEvent& event);
    // Bytes from the device: data and response.
    void addIn(const UsbEvent& event);
    // A cancel or reset request ends the open question.
    void addControl(const UsbEvent& event);
    void followContainers(const RecordedPiece& piece);
    // Stores the answer to the open question, and ends the question.
    void close(End end);
    // Counts memory that is kept, and throws if it is too much.
    void keep(std::size_t size);

    Recording& recording_;
    RecordedDevice device_;
    // How many bytes the host asked for, by the number of the transfer.
    std::map<std::uint64_t, std::uint32_t> askedFor_;
    std::size_t kept_ = 0;

    // The command that is being answered.
    std::optional<Recording::Question> question_;
    std::uint64_t command_ = 0;  // number of the transfer with that command
    RecordedAnswer answer_;
    bool stalled_ = false;        // the command, or the last transfer to the host, was stalled
    std::uint64_t dataLeft_ = 0;  // bytes of a data phase from the host that are still to come

    // The container from the device that is being received: its header as far as it has come,
    // whether its start was missed, the length of the answer so far, and the bytes of the payload
    // that are still to come.
    Bytes head_;
    bool headIsLost_ = false;
    std::uint64_t position_ = 0, payloadLeft_ = 0;
};

void RecordingParser::keep(std::size_t size) {
    kept_ += size;
    if (kept_ > mostKept)
        throw RecordingError(
            "The recording has more than 256 MiB of answers; one without the "
            "contents of files is enough.");
}

void RecordingParser::add(const UsbEvent& event) {
    if (event.length > largestTransfer)
        throw RecordingError("A transfer of the recording has " + std::to_string(event.length) +
                             " bytes, which no host asks for.");
    if (event.pipe == UsbEvent::Pipe::Control) device_.control(event);
    // Transfers before the device is known, and those of other devices, don't matter.
    if (!device_.isKnown() || !device_.isFrom(event)) return;
    if (event.pipe == UsbEvent::Pipe::Control) return addControl(event);
    if (event.isToHost() && event.kind == UsbEvent::Kind::Submission) {
        // A submission to the host only says how many bytes are wanted.
        if (askedFor_.size() >= mostUnderWay) askedFor_.clear();
        askedFor_[event.transfer] = event.length;
    } else if (device_.isBulkOut(event)) {
        addOut(event);
    } else if (device_.isBulkIn(event)) {
        addIn(event);
    } else if (device_.isInterrupt(event) && question_ && !event.data.empty()) {
        keep(event.data.size() + sizeof(Bytes));
        answer_.events.emplace_back(event.data.begin(), event.data.end());
    }
}

void RecordingParser::addOut(const UsbEvent& event) {
    if (event.kind != UsbEvent::Kind::Submission) {
        // A stall says that the device refused to take the command.
        if (event.status == -EPIPE && question_ && event.transfer == command_) stalled_ = true;
        return;
    }
    if (dataLeft_ > 0) {
        dataLeft_ -= std::min<std::uint64_t>(dataLeft_, event.length);
        return;
    }
    if (event.data.size() < ContainerHeader::size) return;
    const ContainerHeader header = ContainerHeader::decode(event.data);
    // The operation has a data phase from the host, which a replay must accept, too.
    if (header.type == Data && question_) {
        recording_.takeData.insert(question_->first);
        dataLeft_ = header.length - std::min(header.length, event.length);
    }
    // Only a whole command begins a question.
    if (header.type != Command || header.length != event.length) return;
    // The next command ends the answer to the previous one.
    if (question_) close(stalled_ ? End::Stall : End::Complete);
    question_ = {header.code, {}};
    std::vector<std::uint32_t>& parameters = question_->second;
    for (std::size_t at = ContainerHeader::size;
         at + 4 <= event.data.size() && parameters.size() < Message::maxParameters; at += 4)
        parameters.push_back(static_cast<std::uint32_t>(loadNumber(event.data.subspan(at), 4)));
    // Zeros at the end may be sent or left out, and the question stays the same.
    while (!parameters.empty() && parameters.back() == 0) parameters.pop_back();
    command_ = event.transfer;
    answer_.commandId = header.id;
}

void RecordingParser::addIn(const UsbEvent& event) {
    const auto asked = askedFor_.extract(event.transfer);
    if (!question_) return;
    stalled_ = event.status == -EPIPE;
    // A transfer that the host took back may have brought bytes all the same.
    const bool isNothing = event.status != 0 && event.length == 0;
    if (isNothing) return;
    // A recording without the submission doesn't say how much was wanted. Then a transfer counts as
    // ended if its length isn't a multiple of the packet size.
    const std::uint32_t wanted =
        asked.empty() ? event.length + (event.length % device_.packetSize() != 0) : asked.mapped();
    RecordedPiece piece{{event.data.begin(), event.data.end()},
                        event.length,
                        event.status == 0 && event.length < wanted};
    keep(sizeof piece + piece.bytes.size());
    followContainers(piece);
    answer_.pieces.push_back(std::move(piece));
    if (answer_.response && answer_.piecesOfResponse == 0)
        answer_.piecesOfResponse = answer_.pieces.size();
}

/// Notes at which positions the ids of containers stand, for a replay to change them, and whether
/// the response has come.
void RecordingParser::followContainers(const RecordedPiece& piece) {
    for (std::uint64_t at = 0; at < piece.length && !headIsLost_;) {
        if (payloadLeft_ > 0) {
            const std::uint64_t part = std::min(payloadLeft_, piece.length - at);
            payloadLeft_ -= part;
            at += part;
            continue;
        }
        // If the bytes there weren't recorded, nobody can know where the next container begins.
        headIsLost_ = at >= piece.bytes.size();
        if (headIsLost_) break;
        head_.push_back(piece.bytes[static_cast<std::size_t>(at++)]);
        if (head_.size() < ContainerHeader::size) continue;
        const ContainerHeader header = ContainerHeader::decode(head_);
        head_.clear();
        constexpr std::uint64_t idPlace = 8;
        answer_.idPlaces.push_back(position_ + at - ContainerHeader::size + idPlace);
        payloadLeft_ =
            header.length - std::min<std::uint64_t>(header.length, ContainerHeader::size);
        if (header.type == Response && !answer_.response) answer_.response = header.code;
    }
    position_ += piece.length;
}

void RecordingParser::addControl(const UsbEvent& event) {
    constexpr std::uint8_t toInterface = 0x21, cancel = 0x64, reset = 0x66;
    if (event.kind != UsbEvent::Kind::Submission || !event.setup || !question_) return;
    const auto type = std::to_integer<std::uint8_t>((*event.setup)[0]);
    const auto request = std::to_integer<std::uint8_t>((*event.setup)[1]);
    if (type == toInterface && (request == cancel || request == reset))
        close(stalled_ ? End::Stall : End::Silence);
}

void RecordingParser::close(End end) {
    // The answer's own memory counts, too, as there may be very many answers.
    answer_.end = end;
    keep(sizeof answer_ + 8 * answer_.idPlaces.size());
    recording_.answers[*question_].push_back(std::move(answer_));
    question_.reset();
    answer_ = {};
    stalled_ = headIsLost_ = false;
    head_.clear();
    dataLeft_ = position_ = payloadLeft_ = 0;
}

void RecordingParser::finish() {
    if (!device_.isKnown())
        throw RecordingError(
            "The recording has no descriptors of a still-image device: it must "
            "begin before the device is plugged in, or come from zlkcam record.");
    // An answer that the end of the recording cut off is left out.
    if (question_ && (answer_.response || stalled_)) close(stalled_ ? End::Stall : End::Complete);
    device_.moveInto(recording_);
    constexpr std::array<std::uint16_t, 6> sizes{8, 16, 32, 64, 512, 1024};
    if (std::ranges::find(sizes, recording_.packetSize) == sizes.end())
        throw RecordingError("The recorded device's packets have a size that USB doesn't know.");
    if (recording_.answers.empty())
        throw RecordingError("The recording has no answers of its device.");
}

/// The text whose string index stands at this place of the device descriptor.
std::string textOf(const Recording& recording, std::size_t indexPlace) {
    const auto found = recording.strings.find(
        std::to_integer<std::uint8_t>(recording.deviceDescriptor[indexPlace]));
    if (found == recording.strings.end() || found->first == 0) return {};
    std::u16string text;
    for (std::size_t at = 2; at + 2 <= found->second.size(); at += 2)
        text += static_cast<char16_t>(loadNumber(ByteView(found->second).subspan(at), 2));
    return utf8Text(text);
}

}  // namespace

Identity Recording::identity() const {
    const ByteView device(deviceDescriptor);
    return {static_cast<std::uint16_t>(loadNumber(device.subspan(8), 2)),
            static_cast<std::uint16_t>(loadNumber(device.subspan(10), 2)), textOf(*this, 14),
            textOf(*this, 15), textOf(*this, 16)};
}

Recording readRecording(RecordingReader& reader) {
    Recording recording;
    RecordingParser parser(recording);
    while (const auto event = reader.next()) parser.add(*event);
    parser.finish();
    return recording;
}

}  // namespace zlk::camsim
