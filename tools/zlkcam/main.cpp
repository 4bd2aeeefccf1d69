#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

/// Adds the commands, and the option that all of them take.
void addCommands(CLI::App& app, Tool& tool) {
    app.require_subcommand(1);
    app.add_flag("--json", tool.json, "answer with one JSON document, also on failure");
    addDevicesCommand(app, tool);
    addInfoCommands(app, tool);
    addTranslateCommand(app, tool);
    addFileCommands(app, tool);
    addUnloadCommand(app, tool);
    addCheckCommand(app, tool);
    addDocumentCommands(app, tool);
    addCameraCommands(app, tool);
    addAdoptCommand(app, tool);
    addRegisterCommands(app, tool);
    addMountCommands(app, tool);
    addSettingsCommands(app, tool);
    addRecordCommand(app, tool);
    addTraceCommand(app, tool);
    app.parse_complete_callback(requireOpenFiles);
    app.footer(exitStatusTable());  // set after the commands, which would all inherit it
    // Lets `--json` also stand after the command.
    for (CLI::App* command : app.get_subcommands(nullptr)) command->fallthrough();
}

ExitStatus run(Tool& tool, int argc, char** argv) {
    CLI::App app("Unload cameras and memory cards, and look after their settings.", "zlkcam");
    addCommands(app, tool);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return ExitStatus::Success;
    } catch (const CLI::ParseError& error) {
        // --json may stand after the word that couldn't be understood, where the parser stopped.
        tool.json = std::any_of(argv, argv + argc,
                                [](const char* word) { return !std::strcmp(word, "--json"); });
        return tool.finish(Failure(
            ExitStatus::Usage, std::string("The command line can't be understood: ") + error.what(),
            "zlkcam --help, or zlkcam COMMAND --help, tells what there is."));
    } catch (const Failure& failure) {
        return tool.finish(failure);
    }
    return tool.finish();
}

}  // namespace
}  // namespace zlk

int main(int argc, char** argv) {
    zlk::listenToPlatform();
    zlk::Tool tool;
    zlk::ExitStatus status;
    try {
        status = zlk::run(tool, argc, argv);
    } catch (const std::bad_alloc&) {
        status = tool.finish({zlk::ExitStatus::NoMemory, "There isn't enough memory."});
    } catch (const std::exception& error) {
        status = tool.finish({zlk::ExitStatus::NotSupported,
                              std::string("Something unexpected happened: ") + error.what()});
    }
    return static_cast<int>(status);
}
