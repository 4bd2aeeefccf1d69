// The commands clock and diag, for what only cameras have.

#include <cstdio>

#include "interfaces/IXmlDoc.h"
#include "platform/clock.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/commands/DeviceWords.h"

namespace zlk {
namespace {

struct ClockOptions : DeviceOption {
    std::string time;
};
struct DiagOptions : DeviceOption {
    bool log = false;
};

std::string isoText(const BrokenDownTime& time) {
    return utf8Text(formatText(u"%04d-%02d-%02dT%02d:%02d:%02d", time.year + 1900, time.month + 1,
                               time.day, time.hour, time.minute, time.second));
}

std::string isoText(std::int64_t seconds) {
    BrokenDownTime time{};
    _localtime64_s(time, seconds);
    return isoText(time);
}

/// Parses `now` or a local time into seconds since 1970 UTC. Throws Failure (Usage) if a clock
/// can't be set to it.
std::int64_t timeArgument(const std::string& text) {
    if (text == "now") return _time64();
    BrokenDownTime time{};
    // NOLINTNEXTLINE(cert-err34-c): so few digits don't overflow, and the time is compared below
    std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &time.year, &time.month, &time.day,
                &time.hour, &time.minute, &time.second);
    time.year -= 1900;
    time.month -= 1;
    const std::int64_t seconds = _mktime64(time);
    // The components set a year before 1971 as 1971, and return this machine's time for a clock
    // with a year after 2037.
    constexpr int firstYear = 1971, lastYear = 2037;
    // Converting back shows whether the time exists: mktime would turn June 31 into July 1.
    if (time.year + 1900 < firstYear || time.year + 1900 > lastYear || isoText(seconds) != text)
        throw Failure(ExitStatus::Usage, "A clock can't be set to \"" + text + "\".",
                      "Give a local time from 1971 to 2037, as in 2026-07-15T10:30:00, or: now");
    return seconds;
}

/// As in "12 s ahead of this computer's".
std::string aheadText(std::int64_t ahead) {
    if (ahead == 0) return "the same as this computer's";
    return std::to_string(ahead > 0 ? ahead : -ahead) + " s " +
           (ahead > 0 ? "ahead of" : "behind") + " this computer's";
}

void runClock(Tool& tool, const ClockOptions& options) {
    // A wrong time is reported before the device is claimed.
    if (!options.time.empty() && options.time != "now") timeArgument(options.time);
    const PhotoSession session(DeviceDirectory().find(wideText(options.device)));
    tool.answer.beginObject().member("contextId", session.device().contextId);
    if (!options.time.empty()) {
        const std::int64_t time = timeArgument(options.time);  // `now` is read as late as possible
        session.require(session->put_DeviceDate(Bstr(timeDocument(time)).get()),
                        "Setting the clock");
        tool.say("The clock is set to " + isoText(time) + ".");
        tool.answer.member("time", isoText(time)).member("set", true).endObject();
        return;
    }
    Bstr document;
    session.require(session->get_DeviceDate(document.out()), "Reading the clock");
    const std::int64_t time = parseTime(document.view());
    const std::int64_t ahead = time - _time64();
    tool.say(isoText(time) + "  " + aheadText(ahead));
    tool.answer.member("time", isoText(time)).member("ahead", ahead).endObject();
}

/// An element of a camera's diagnostics and its name for people.
struct Title {
    std::u16string_view element;
    const char* title;
};
constexpr Title titles[] = {{u"fwversion", "Firmware"},
                            {u"model", "Model"},
                            {u"serial", "Serial number"},
                            {u"mintemp", "Lowest temperature"},
                            {u"maxtemp", "Highest temperature"},
                            {u"language", "Language"},
                            {u"chargeToChargeShots", "Shots between two charges"},
                            {u"shotCounter", "Shots"},
                            {u"strobeCounter", "Flash uses"},
                            {u"videoCounter", "Videos"},
                            {u"zoomCounter", "Zoom uses"},
                            {u"printsCounter", "Prints"},
                            {u"directPrintsCounter", "Direct prints"},
                            {u"emailsCounter", "E-mails"}};

std::string titleOf(const std::u16string& element) {
    for (const Title& known : titles)
        if (known.element == element) return known.title;
    return utf8Text(element);
}

void show(Tool& tool, const Diagnostics& diagnostics) {
    tool.answer.key("values").beginArray();
    for (const NamedText& value : diagnostics.values) {
        tool.say(titleOf(value.name) + ": " + utf8Text(readableText(value.text)));
        tool.answer.beginObject().member("name", value.name).member("text", value.text).endObject();
    }
    tool.answer.endArray().key("failures").beginArray();
    for (const std::vector<NamedText>& failure : diagnostics.failures) {
        std::string line = "Failure:";
        tool.answer.beginArray();
        for (const NamedText& detail : failure) {
            line += " " + utf8Text(detail.name + u"=" + readableText(detail.text));
            tool.answer.beginObject()
                .member("name", detail.name)
                .member("text", detail.text)
                .endObject();
        }
        tool.answer.endArray();
        tool.say(line);
    }
    tool.answer.endArray();
}

/// Whether the document has model, firmware and serial number. If one of them is missing, the
/// component logs nothing and still returns success.
bool canBeReported(std::u16string_view xml) {
    ComPtr<IXmlDoc> document;
    document.create(CLSID_XmlDoc);
    if (!document || document->Load(Bstr(xml).get()) != S_OK) return false;
    const auto has = [&](const WCHAR* path) {
        Bstr value;
        return document->GetValue(Bstr(path).get(), value.out()) == S_OK;
    };
    return has(u"diagnostic/fwversion") && has(u"diagnostic/model") && has(u"diagnostic/serial");
}

void runDiag(Tool& tool, const DiagOptions& options) {
    const DeviceDirectory directory;
    const Device device = directory.find(wideText(options.device));
    // This message needs no claim, so that it also works while another program uses the camera.
    const std::u16string document = askDevice(device, u"CAMERA_GetDiagFile");
    if (document.empty())
        throw Failure(ExitStatus::ReadFailed,
                      utf8Text(device.name) + " has no diagnostics, or can't tell them.");
    const Diagnostics diagnostics = parseDiagnostics(document);
    tool.answer.beginObject().member("contextId", device.contextId);
    show(tool, diagnostics);
    const bool logs =
        options.log && canBeReported(document) &&
        directory.utils().LogCameraInfo(Bstr(device.contextId).get(), Bstr(document).get()) == S_OK;
    if (options.log) tool.answer.member("logged", logs);
    tool.answer.endObject();
    if (options.log && !logs) {
        tool.warn(
            "Not logged: firmware, model or serial number is missing, or the document isn't well "
            "formed.");
        tool.status = ExitStatus::BadDocument;
    }
}

}  // namespace

void addCameraCommands(CLI::App& app, Tool& tool) {
    addCommand<ClockOptions>(
        app, "clock", "Tell a camera's clock, or set it",
        [](CLI::App& command, ClockOptions& options) {
            addDevice(command, options);
            command
                .add_option("--set", options.time, "now, or a local time as in 2026-07-15T10:30:00")
                ->check(CLI::Validator(
                    [](const std::string& time) {
                        return std::string(time.empty() ? "there is no time" : "");
                    },
                    "TIME"));
        },
        [&tool](const ClockOptions& options) { runClock(tool, options); });
    addCommand<DiagOptions>(
        app, "diag", "Tell a camera's diagnostics",
        [](CLI::App& command, DiagOptions& options) {
            addDevice(command, options);
            command.add_flag("--log", options.log, "report them to the event component, too");
        },
        [&tool](const DiagOptions& options) { runDiag(tool, options); });
}

}  // namespace zlk
