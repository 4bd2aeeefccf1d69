// The commands order, intent, share, tags and escape, for the texts that a device and the computer
// exchange.

#include <algorithm>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/TextFile.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/commands/DeviceWords.h"

namespace zlk {
namespace {

struct DocumentOptions : DeviceOption {
    std::string file;
    bool clear = false;
};

/// The text from the file of --set. Throws Failure (FileUnusable), also if the file is empty.
std::u16string newText(const DocumentOptions& options) {
    std::u16string text = readTextFile(pathArgument(options.file));
    if (text.empty())
        throw Failure(ExitStatus::FileUnusable, "The file " + options.file + " is empty.");
    return text;
}

void tell(Tool& tool, const Device& device, std::u16string_view text) {
    tool.say(utf8Text(text));
    tool.answer.beginObject()
        .member("contextId", device.contextId)
        .member("text", text)
        .endObject();
}

void tellDone(Tool& tool, const Device& device, const std::string& line) {
    tool.say(line);
    tool.answer.beginObject()
        .member("contextId", device.contextId)
        .member("done", true)
        .endObject();
}

/// Makes sure that a document of a camera was really deleted. The component finds a camera's print
/// order and intent file only while it lists the files. If it hasn't found the file, or if the
/// camera table says that the model keeps such files, the component reports success without
/// deleting anything. So the files are listed before the work, and again afterwards.
class CameraOrders {
  public:
    CameraOrders(const DeviceDirectory& directory, const PhotoSession& session)
        : session_(session), isCamera_(directory.isCamera(session.device().contextId)) {
        if (isCamera_) session.files();
    }
    /// Throws Failure (DeleteRefused) if the camera still lists a file of this name.
    void requireGone(std::u16string_view name) const {
        if (!isCamera_) return;
        const std::vector<FileRecord> files = session_.files();
        if (std::any_of(files.begin(), files.end(), [name](const FileRecord& file) {
                return equalIgnoringCase(fileName(file.cameraPath), name);
            }))
            throw deviceFailure(static_cast<LONG>(ExitStatus::DeleteRefused), session_.device(),
                                "Deleting " + utf8Text(name));
    }

  private:
    static std::u16string_view fileName(std::u16string_view path) {
        return path.substr(path.find_last_of(u"\\/") + 1);
    }

    const PhotoSession& session_;
    bool isCamera_;
};

void runOrder(Tool& tool, const DocumentOptions& options) {
    // The file is read before the device is claimed, as it may be missing.
    const std::u16string order = options.file.empty() ? std::u16string() : newText(options);
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(wideText(options.device)));
    session.requireMedia();
    const CameraOrders orders(directory, session);
    if (options.clear || !order.empty()) {
        session.require(session->put_Dpof(Bstr(order).get()), "Writing the print order");
        // Writing an empty print order deletes it.
        if (order.empty()) orders.requireGone(u"AUTPRINT.MRK");
        return tellDone(tool, session.device(),
                        order.empty() ? "The print order is deleted." : "The print order is set.");
    }
    Bstr text;
    session.require(session->get_Dpof(text.out()), "Reading the print order");
    if (text.view().empty()) tool.warn("There is no print order.");
    tell(tool, session.device(), text.view());
}

void runIntent(Tool& tool, const DocumentOptions& options) {
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(wideText(options.device)));
    session.requireMedia();
    const CameraOrders orders(directory, session);
    if (options.clear) {
        session.require(session->put_Intent(nullptr), "Deleting the intent file");
        orders.requireGone(u"INTENT.XML");
        return tellDone(tool, session.device(), "The intent file is deleted.");
    }
    Bstr text;
    session.require(session->get_Intent(text.out()), "Reading the intent file");
    tell(tool, session.device(), text.view());
}

/// The class that the list names for a device, or the built-in one if the device isn't listed.
std::u16string progIdIn(const std::vector<Device>& devices, const Device& device,
                        const WCHAR* builtIn) {
    for (const Device& listed : devices)
        if (equalIgnoringCase(listed.contextId, device.contextId)) return listed.progId;
    return builtIn;
}

/// Reads a menu, or writes a new one. The menu is also read before the new one is written, because
/// the reading begins the dialogue with the camera.
template <class Interface>
void exchange(Tool& tool, const DocumentOptions& options, const Session<Interface>& session,
              HRESULT (Interface::*get)(BSTR*) noexcept, HRESULT (Interface::*put)(BSTR) noexcept,
              const std::string& what) {
    Interface& object = *session.operator->();
    std::u16string menu;
    // The file comes first, so that nothing has been sent yet if it can't be used.
    if (!options.file.empty()) menu = newText(options);
    Bstr old;
    const HRESULT result = (object.*get)(old.out());
    if (options.file.empty()) {
        session.require(result, "Reading the " + what);
        return tell(tool, session.device(), old.view());
    }
    session.require((object.*put)(Bstr(menu).get()), "Writing the " + what);
    tellDone(tool, session.device(), "The " + what + " is written.");
}

void runShare(Tool& tool, const DocumentOptions& options) {
    const DeviceDirectory directory;
    const Device device = directory.find(wideText(options.device));
    const Session<ISwiftPostDevice> session(
        device, progIdIn(directory.shareDevices(), device, u"ZlkCamTr.SPostDevice"));
    exchange(tool, options, session, &ISwiftPostDevice::get_ShareMenu,
             &ISwiftPostDevice::put_ShareMenu, "share menu");
}

void runTags(Tool& tool, const DocumentOptions& options) {
    const DeviceDirectory directory;
    const Device device = directory.find(wideText(options.device));
    const Session<ITagDevice> session(
        device, progIdIn(directory.tagDevices(), device, u"ZlkCamTr.TagDevice"));
    exchange(tool, options, session, &ITagDevice::get_TagList, &ITagDevice::put_TagList,
             "tag list");
}

void runEscape(Tool& tool, const DeviceWords& given) {
    DeviceWords words = given;
    const Device device = DeviceDirectory().find(words.takeDevice(1));
    tell(tool, device, askDevice(device, wideText(words.words.front())));
}

}  // namespace

void addDocumentCommands(CLI::App& app, Tool& tool) {
    const auto setFile = [](CLI::App& command, DocumentOptions& options) {
        return command.add_option("--set", options.file,
                                  "write what this file holds (UTF-8), or - for standard input");
    };
    addCommand<DocumentOptions>(
        app, "order", "Print, set or delete the print order (DPOF)",
        [&](CLI::App& command, DocumentOptions& options) {
            addDevice(command, options);
            auto* set = setFile(command, options);
            command.add_flag("--clear", options.clear, "delete it")->excludes(set);
        },
        [&tool](const DocumentOptions& options) { runOrder(tool, options); });
    addCommand<DocumentOptions>(
        app, "intent", "Print or delete the intent file",
        [&](CLI::App& command, DocumentOptions& options) {
            addDevice(command, options);
            command.add_flag("--clear", options.clear, "delete it");
        },
        [&tool](const DocumentOptions& options) { runIntent(tool, options); });
    const auto menu = [&](CLI::App& command, DocumentOptions& options) {
        addDevice(command, options);
        setFile(command, options);
    };
    addCommand<DocumentOptions>(
        app, "share", "Print the camera's share menu, or write the new one", menu,
        [&tool](const DocumentOptions& options) { runShare(tool, options); });
    addCommand<DocumentOptions>(
        app, "tags", "Print the camera's tag list, or write the new one", menu,
        [&tool](const DocumentOptions& options) { runTags(tool, options); });
    addCommand<DeviceWords>(
        app, "escape", "Send a message to the device, and print the answer: [DEVICE] TEXT",
        [](CLI::App& command, DeviceWords& words) {
            command.add_option("text", words.words, "DEVICE (may be left out), then the message")
                ->required()
                ->expected(1, 2)
                ->option_text("[DEVICE] TEXT");
        },
        [&tool](const DeviceWords& words) { runEscape(tool, words); });
}

}  // namespace zlk
