// Fuzzes the reader of recordings, which come from strangers: they are put into words, and replayed
// to a host that asks everything that was asked.

#include <cstdio>

#include "fuzz/Input.h"
#include "tools/recording/RecordingReader.h"
#include "tools/zlkcam/RecordingText.h"
#include "tools/zlkcamsim/VirtualCamera.h"

using namespace zlk;
using namespace zlk::camsim;

namespace {

/// A stream over the bytes, as the reader wants a file.
std::FILE* fileOf(const std::uint8_t* data, std::size_t size) {
    return ::fmemopen(const_cast<std::uint8_t*>(data), size, "rb");
}

/// Puts all transfers into words.
void tell(RecordingReader reader) {
    RecordingText text;
    while (const auto event = reader.next()) text.lineOf(*event);
}

/// Replays the recording, each question once.
void play(RecordingReader reader) {
    usbscan::EventLoop loop;
    Recording recording = readRecording(reader);
    std::vector<Message> commands;
    for (const auto& [question, answers] : recording.answers)
        commands.push_back({question.first, 7, question.second});
    VirtualCamera camera(loop, {}, recording.packetSize);
    camera.replay(std::move(recording), [](const std::string&) {});
    camera.busReset();
    constexpr std::uint64_t most = 64 << 20;  // what wasn't recorded may be long, and is only zeros
    for (const Message& command : commands) {
        camera.out(command.encode(Command), true);
        std::uint64_t taken = 0;
        for (int packets = 0; packets < 1000 && taken < most; ++packets) {
            const PipeBytes piece = camera.in(1 << 20);
            if (piece.answer != PipeAnswer::Accepted) break;
            taken += piece.bytes.size();
        }
        // Each question is asked on its own: a silence or stall must not hide the answers that
        // follow.
        camera.busReset();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    for (const auto use : {tell, play}) {
        try {
            use(RecordingReader(fileOf(data, size)));
        } catch (const RecordingError&) {
        }
    }
    return 0;
}
