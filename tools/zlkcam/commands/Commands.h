#pragma once
// Declares the commands of zlkcam in groups; each function adds its commands to the program. The
// caller owns `tool`, which has to outlive `app`.

#include <CLI/CLI.hpp>

#include "tools/zlkcam/Tool.h"

namespace zlk {

void addRegisterCommands(CLI::App& app, Tool& tool);  // register, unregister
void addSettingsCommands(CLI::App& app, Tool& tool);  // settings ...
void addMountCommands(CLI::App& app, Tool& tool);     // mount, unmount
void addDevicesCommand(CLI::App& app, Tool& tool);    // devices
void addInfoCommands(CLI::App& app, Tool& tool);      // info, locked
void addTranslateCommand(CLI::App& app, Tool& tool);  // translate
void addFileCommands(CLI::App& app, Tool& tool);      // list, thumbs, delete
void addUnloadCommand(CLI::App& app, Tool& tool);     // unload
void addCheckCommand(CLI::App& app, Tool& tool);      // check
void addDocumentCommands(CLI::App& app, Tool& tool);  // order, intent, share, tags, escape
void addCameraCommands(CLI::App& app, Tool& tool);    // clock, diag
void addAdoptCommand(CLI::App& app, Tool& tool);      // adopt
void addRecordCommand(CLI::App& app, Tool& tool);     // record
void addTraceCommand(CLI::App& app, Tool& tool);      // trace

/// Adds a command. `setUp` declares its options and binds them to an object of type Options, which
/// lives as long as the command; `body` gets that object when the command line names the command.
template <class Options, class SetUp, class Body>
CLI::App* addCommand(CLI::App& app, const char* name, const char* description, SetUp setUp,
                     Body body) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(name, description);
    setUp(*command, *options);
    command->callback([options, body] { body(*options); });
    return command;
}

}  // namespace zlk
