// The command record: runs a program, and records into a new file what goes over a camera's pipes
// meanwhile. With --show it prints such a file in words.

#include <array>
#include <cstdio>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tools/recording/RecordingReader.h"
#include "tools/zlkcam/ChildProgram.h"
#include "tools/zlkcam/RecordingText.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/UsbCamera.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct RecordOptions {
    std::vector<std::string> words;  // DEVICE FILE COMMAND...
    std::string show;
    bool payloads = false;
    bool anonymous = false;
};

/// Whether the user may mean this camera: by context id, either form of USB ids, or port.
bool isNamed(const UsbCamera& camera, const std::u16string& name) {
    const auto& [attached, pnpId, contextId, listed, twin] = camera;
    const std::u16string usbId = formatText(u"%04X:%04X", attached.vid, attached.pid);
    for (const std::u16string& own : {contextId, usbId, pnpId, attached.port})
        if (!own.empty() && equalIgnoringCase(own, name)) return true;
    return false;
}

AttachedCamera chooseCamera(const std::string& name) {
    std::vector<AttachedCamera> found;
    for (const UsbCamera& camera : usbCameras(DeviceDirectory(), {}))
        if (isNamed(camera, wideText(name))) found.push_back(camera.attached);
    if (found.empty())
        throw Failure(ExitStatus::NotConnected, "There is no such camera on USB: " + name + ".",
                      "zlkcam devices tells what is attached. A camera that isn't adopted is named "
                      "by its USB ids, as in 5AF1:7C36.");
    if (found.size() > 1)
        throw Failure(ExitStatus::Usage, "There are several such cameras.",
                      "Name one by its port, as in " + utf8Text(found.front().port));
    return found.front();
}

/// Creates the empty file for the recording; a file that exists is never overwritten.
UniqueHandle makeFile(const std::u16string& path) {
    UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                  nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        throw Failure(ExitStatus::FileUnusable,
                      "The file " + utf8Text(path) + " can't be made: " + reasonText() + ".");
    return file;
}

/// Starts the recording in the camera's host; throws Failure if that isn't possible.
std::unique_ptr<CameraRecording> beginRecording(const AttachedCamera& camera, HANDLE file,
                                                const RecordOptions& options) {
    const DWORD flags = (options.payloads ? CameraRecording::withPayloads : 0) |
                        (options.anonymous ? CameraRecording::anonymous : 0);
    auto recording = CameraRecording::begin(camera.port, file, flags);
    if (recording) return recording;
    const DWORD error = GetLastError();
    if (error == ERROR_BUSY)
        throw Failure(ExitStatus::DeviceHeld, "This camera is being recorded already.",
                      "There is one recording of a camera at a time. End the other zlkcam record, "
                      "or delete the setting Record of the platform.");
    if (error == ERROR_SHARING_VIOLATION)
        throw Failure(ExitStatus::DeviceHeld, "Another program holds this camera.",
                      "zlkcam devices tells which.");
    throw Failure(ExitStatus::ReadFailed, "The camera can't be opened: " + reasonText(error) + ".",
                  "zlkcam devices tells what is wrong with it.");
}

/// Ends the recording and returns why it is incomplete. Empty if nothing is missing, or if the
/// camera was unplugged.
std::string troubleOf(CameraRecording& recording) {
    if (recording.end()) return {};
    const DWORD error = GetLastError();
    // The recording has everything up to the unplugging.
    if (error == ERROR_DEVICE_NOT_CONNECTED) return {};
    if (error == ERROR_SEM_TIMEOUT) return "the disk is too slow for it";
    return reasonText(error);
}

void recordProgram(Tool& tool, const RecordOptions& options) {
    constexpr std::size_t leastWords = 3;
    if (options.words.size() < leastWords)
        throw Failure(ExitStatus::Usage, "A device, a file and a command are missing.",
                      "As in: zlkcam record DEVICE FILE -- zlkcam list");
    const AttachedCamera camera = chooseCamera(options.words[0]);
    const std::u16string path = pathArgument(options.words[1]);
    UniqueHandle file = makeFile(path);
    std::unique_ptr<CameraRecording> recording;
    int status = 0;
    try {
        recording = beginRecording(camera, file.get(), options);
        // The host writes through its own handle.
        file.reset();
        status = runProgram({options.words.begin() + 2, options.words.end()}, tool.json);
    } catch (const Failure&) {
        // The recording or the program couldn't be started, so there is nothing worth keeping.
        recording.reset();
        DeleteFileW(path.c_str());
        throw;
    }
    const std::string trouble = troubleOf(*recording);
    if (!trouble.empty()) tool.warn("The recording is incomplete: " + trouble + ".");
    tool.answer.beginObject().member("file", path).member("status", std::int64_t{status});
    tool.answer.member("complete", trouble.empty()).endObject();
    // A failure of the program counts more than an incomplete recording.
    tool.status = static_cast<ExitStatus>(status);
    if (status == 0 && !trouble.empty()) tool.status = ExitStatus::FileUnusable;
}

void tell(Tool& tool, const RecordingLine& line) {
    std::array<char, 64> front{};
    std::snprintf(front.data(), front.size(), "%6lld.%06lld  %s %02x %8u  ",
                  static_cast<long long>(line.time / 1'000'000),
                  static_cast<long long>(line.time % 1'000'000), line.endpoint & 0x80 ? "<" : ">",
                  unsigned{line.endpoint}, line.length);
    tool.say(front.data() + line.text);
    tool.answer.beginObject().member("time", line.time).member("endpoint", line.endpoint);
    tool.answer.member("length", line.length).member("text", line.text).endObject();
    // The document is printed piece by piece, because a recording may be longer than memory.
    const std::string text = tool.answer.take();
    if (tool.json) Tool::write(text);
}

void showRecording(Tool& tool, const std::string& path) {
    const auto fails = [](const RecordingError& error) {
        return Failure(ExitStatus::BadDocument, error.what());
    };
    try {
        RecordingReader reader(path);
        tool.answer.beginObject().key("transfers").beginArray();
        try {
            RecordingText text;
            while (const auto event = reader.next())
                if (const auto line = text.lineOf(*event)) tell(tool, *line);
            tool.answer.endArray().endObject();
        } catch (const RecordingError& error) {
            // The lines up to the damage have been printed already.
            tool.warn(error.what());
            tool.status = ExitStatus::BadDocument;
            Tool::writeError(tool.answer.endArray().key("error"), fails(error));
            tool.answer.endObject();
        }
    } catch (const RecordingError& error) {
        throw fails(error);
    } catch (const NoPcapLibrary& error) {
        throw Failure(ExitStatus::NotRegistered, error.what(),
                      "In Debian it is the package libpcap0.8.");
    }
}

void runRecord(Tool& tool, const RecordOptions& options) {
    if (options.show.empty()) return recordProgram(tool, options);
    if (!options.words.empty()) throw Failure(ExitStatus::Usage, "--show FILE stands alone.");
    showRecording(tool, options.show);
}

}  // namespace

void addRecordCommand(CLI::App& app, Tool& tool) {
    addCommand<RecordOptions>(
        app, "record", "Record what goes over a camera's pipes while a program uses it",
        [](CLI::App& command, RecordOptions& options) {
            constexpr int mostWords = 1 << 16;
            // If fewer words were accepted, those after `--` would be taken for options of zlkcam
            // itself.
            command
                .add_option("words", options.words,
                            "DEVICE FILE -- COMMAND...: a context id, USB ids or a port; a file "
                            "that isn't there yet; a program with its words")
                ->expected(3, mostWords);
            auto* payloads =
                command.add_flag("--payloads", options.payloads, "the contents of files too");
            command
                .add_flag("--anonymous", options.anonymous,
                          "without serial number, names of files and cards, and owner's texts")
                ->excludes(payloads);
            command.add_option("--show", options.show, "print what a recording says");
        },
        [&tool](const RecordOptions& options) { runRecord(tool, options); });
}

}  // namespace zlk
