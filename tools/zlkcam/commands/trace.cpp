// The command trace: shows what programs write into the trace log, until it is stopped.

#include <array>
#include <cstdio>

#include "platform/clock.h"
#include "platform/text.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/TraceViewer.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

constexpr DWORD lookEvery = 20;  // milliseconds
struct TraceOptions {};

void tellRecord(Tool& tool, const TraceRecord& record) {
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%9u.%03u  ", record.time / 1000, record.time % 1000);
    tool.say(time.data() + record.category + "  " + record.message);
    // A hostile writer may have put bytes into the record that aren't UTF-8. Converting twice
    // replaces them.
    tool.answer.beginObject()
        .member("time", record.time)
        .member("category", utf8Text(wideText(record.category)))
        .member("message", utf8Text(wideText(record.message)))
        .endObject();
}

/// Prints what the last fetch copied. False if standard output can't be written any more.
bool tellNews(Tool& tool, TraceReader& reader) {
    if (const std::uint64_t lost = reader.takeLost()) {
        tool.say("-- at least " + std::to_string(lost) + " bytes of the log were overwritten --");
        tool.answer.beginObject().member("lostBytes", lost).endObject();
    }
    for (const TraceRecord& record : reader.records()) tellRecord(tool, record);
    // The document has no end as long as the log runs, so it is printed piece by piece.
    const std::string text = tool.answer.take();
    return (!tool.json || Tool::write(text)) && Tool::flush();
}

void runTrace(Tool& tool) {
    const StopFlag stop;
    TraceViewer viewer;
    TraceReader reader;
    tool.warn("Following the log of all programs; Ctrl-C ends it.");
    tool.answer.beginObject().key("records").beginArray();
    while (!StopFlag::raised()) {
        if (viewer.fetch(reader) && !tellNews(tool, reader)) break;
        Sleep(lookEvery);
    }
    // What was written before the log went off is still shown.
    viewer.switchOff();
    if (viewer.fetch(reader)) tellNews(tool, reader);
    tool.answer.endArray().endObject();
}

}  // namespace

void addTraceCommand(CLI::App& app, Tool& tool) {
    addCommand<TraceOptions>(
        app, "trace", "Show what all programs of this machine log, until Ctrl-C",
        [](CLI::App&, TraceOptions&) {}, [&tool](const TraceOptions&) { runTrace(tool); });
}

}  // namespace zlk
