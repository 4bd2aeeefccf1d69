#pragma once
// The commands, in groups; each adds its own to the program.

#include <CLI/CLI.hpp>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Tool.h"

namespace zlk {

void addRegisterCommands(CLI::App& app, Tool& tool);  // register, unregister
void addSettingsCommands(CLI::App& app, Tool& tool);  // settings ...
void addMountCommands(CLI::App& app, Tool& tool);     // mount, unmount
void addDeviceCommands(CLI::App& app, Tool& tool);    // devices, info, locked, translate
void addFileCommands(CLI::App& app, Tool& tool);      // list, thumbs, delete
void addUnloadCommand(CLI::App& app, Tool& tool);     // unload
void addCheckCommand(CLI::App& app, Tool& tool);      // check
void addDocumentCommands(CLI::App& app, Tool& tool);  // order, intent, share, tags, escape
void addCameraCommands(CLI::App& app, Tool& tool);    // clock, diag
void addAdoptCommand(CLI::App& app, Tool& tool);      // adopt
void addRecordCommand(CLI::App& app, Tool& tool);     // record
void addTraceCommand(CLI::App& app, Tool& tool);      // trace

/// A command whose body gets the options that its set-up has bound.
template <class Options, class SetUp, class Body>
CLI::App* addCommand(CLI::App& app, const char* name, const char* description, SetUp setUp,
                     Body body) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(name, description);
    setUp(*command, *options);
    command->callback([options, body] { body(*options); });
    return command;
}

inline constexpr char deviceHelp[] =
    "context id or drive letter; may be left out when there is only one device";

/// Adds the words of a command that takes a device, if one is named, and something behind it.
struct DeviceWords {
    std::vector<std::string> words;
    /// The device's name, taken off the front: it is there if there are more words than
    /// `others`, or, where any number may follow, if the first one looks like one.
    std::u16string takeDevice(std::size_t others);
    std::u16string takeDeviceByLooks();
};

}  // namespace zlk
