// The command settings, for single values and whole trees of the settings store.

#include "tools/zlkcam/SettingsStore.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/TextFile.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

// The most bytes of a settings file, which lies in memory as a whole. Real settings are much
// smaller.
constexpr std::size_t maxImport = 64 << 20;

struct SettingsOptions {
    std::string key;
    std::optional<std::string> name;
    std::string content;
    std::string type = "sz";
    std::string file;
};

SettingsPath keyOf(const SettingsOptions& options) {
    return SettingsPath(wideText(options.key));
}

/// The name of the value. `@` stands for the default value, whose name is empty, as in .reg files.
std::u16string nameOf(const SettingsOptions& options) {
    return options.name == "@" ? std::u16string() : wideText(options.name.value_or(""));
}

/// A value's type and content in the words of the command line.
struct Described {
    std::string type;
    std::string content;
};

Described describe(const SettingsValue& value) {
    std::u16string text;
    if (value.type == REG_SZ && dataText(value.data, text)) return {"sz", utf8Text(text)};
    if (value.type == REG_DWORD && value.data.size() == sizeof(DWORD)) {
        DWORD number;
        std::memcpy(&number, value.data.data(), sizeof number);
        return {"dword", std::to_string(number)};
    }
    // Other types are shown by their bytes, and so are texts and numbers with malformed data.
    const std::string type =
        value.type == REG_BINARY ? "hex" : "type " + std::to_string(value.type);
    return {type, hexText(value.data)};
}

void writeValue(JsonWriter& json, const SettingsValue& value) {
    const Described described = describe(value);
    json.beginObject()
        .member("name", value.name)
        .member("type", described.type)
        .member("content", described.content)
        .endObject();
}

void getValue(Tool& tool, const SettingsOptions& options) {
    const SettingsKey key = SettingsStore::readKey(keyOf(options));
    const std::u16string name = nameOf(options);
    const auto found = std::find_if(
        key.values.begin(), key.values.end(),
        [&](const SettingsValue& value) { return equalIgnoringCase(value.name, name); });
    if (found == key.values.end())
        throw Failure(ExitStatus::SettingsUnusable,
                      "The key " + utf8Text(key.path) + " has no value \"" + *options.name + "\".",
                      "See what it has: zlkcam settings list '" + options.key + "'");
    tool.say(describe(*found).content);
    writeValue(tool.answer, *found);
}

void setValue(Tool& tool, const SettingsOptions& options) {
    SettingsValue value;
    value.name = nameOf(options);
    const std::u16string content = wideText(options.content);
    bool good = true;
    if (options.type == "sz") {
        value.type = REG_SZ;
        value.data = textData(content);
    } else if (options.type == "dword") {
        DWORD number = 0;
        value.type = REG_DWORD;
        good = CLI::detail::lexical_cast(options.content, number);
        value.data.resize(sizeof number);
        std::memcpy(value.data.data(), &number, sizeof number);
    } else {
        value.type = REG_BINARY;
        good = hexData(content, value.data);
    }
    if (!good)
        throw Failure(ExitStatus::Usage,
                      "\"" + options.content + "\" is no " + options.type + " value.",
                      "A dword is a number up to 4294967295, hex is as in 01,02,ff.");
    SettingsStore::setValue(keyOf(options), value);
    writeValue(tool.answer, value);
}

void deleteSetting(Tool& tool, const SettingsOptions& options) {
    const SettingsPath path = keyOf(options);
    // Without a name the whole key is deleted. An empty name, which a script's empty variable may
    // give, doesn't count as a missing one.
    if (options.name)
        SettingsStore::removeValue(path, nameOf(options));
    else
        SettingsStore::removeKey(path);
    tool.answer.beginObject().member("deleted", path.full()).endObject();
}

void listKey(Tool& tool, const SettingsOptions& options) {
    const SettingsPath path = keyOf(options);
    const std::vector<std::u16string> names = SettingsStore::subKeys(path);
    const SettingsKey key = SettingsStore::readKey(path);
    tool.answer.beginObject().member("key", path.full()).key("keys").beginArray();
    for (const std::u16string& name : names) {
        tool.say(utf8Text(name) + "\\");
        tool.answer.value(name);
    }
    tool.answer.endArray().key("values").beginArray();
    for (const SettingsValue& value : key.values) {
        const Described described = describe(value);
        tool.say((value.name.empty() ? "@" : utf8Text(value.name)) + " = " + described.content +
                 "  (" + described.type + ")");
        writeValue(tool.answer, value);
    }
    tool.answer.endArray().endObject();
}

void importFile(Tool& tool, const SettingsOptions& options) {
    // The whole file is parsed before the first change.
    const std::vector<SettingsKey> keys =
        parseSettingsText(readFileBytes(pathArgument(options.file), maxImport));
    SettingsStore::apply(keys);
    tool.say(std::to_string(keys.size()) + " keys imported.");
    tool.answer.beginObject().member("keys", keys.size()).endObject();
}

void exportTree(Tool& tool, const SettingsOptions& options) {
    const std::vector<SettingsKey> keys = SettingsStore::readTree(keyOf(options));
    std::vector<std::string> leftOut;
    const std::string text = writeSettingsText(keys, leftOut);
    // The file `-` is the standard output. With --json only the answer is printed there, and the
    // text becomes a member of the answer.
    if (options.file == "-" && !tool.json) {
        Tool::write(text);
    } else if (options.file != "-") {
        writeNewFile(pathArgument(options.file), text);
        tool.say(std::to_string(keys.size()) + " keys exported" +
                 (leftOut.empty() ? "."
                                  : ", without " + std::to_string(leftOut.size()) +
                                        " names of keys or values."));
    }
    tool.answer.beginObject().member("keys", keys.size());
    if (options.file == "-") tool.answer.member("text", text);
    tool.answer.key("leftOut").beginArray();
    for (const std::string& name : leftOut) {
        tool.warn("Left out, since a text file can't hold its name: " + name);
        tool.answer.value(name);
    }
    tool.answer.endArray().endObject();
    if (!leftOut.empty()) tool.status = ExitStatus::SettingsUnusable;
}

CLI::Option* addKey(CLI::App& command, SettingsOptions& options) {
    return command.add_option("key", options.key,
                              "HKLM\\... or HKCR\\...; without either, below HKLM");
}

CLI::Option* addName(CLI::App& command, SettingsOptions& options) {
    return command.add_option("name", options.name, "name of the value, @ for the default one");
}

void addOptionsOfSet(CLI::App& command, SettingsOptions& options) {
    addKey(command, options)->required();
    addName(command, options)->required();
    command.add_option("content", options.content, "what to set")->required();
    command.add_option("--type", options.type, "sz (text), dword or hex")
        ->check(CLI::IsMember({"sz", "dword", "hex"}));
}

}  // namespace

void addSettingsCommands(CLI::App& app, Tool& tool) {
    CLI::App& settings = *app.add_subcommand("settings", "Read and write the settings");
    settings.require_subcommand(1)->fallthrough();
    const auto add = [&](const char* name, const char* description, auto setUp,
                         void (*body)(Tool&, const SettingsOptions&)) {
        addCommand<SettingsOptions>(
            settings, name, description,
            [&setUp](CLI::App& command, SettingsOptions& options) {
                command.fallthrough();
                setUp(command, options);
            },
            [&tool, body](const SettingsOptions& options) { body(tool, options); });
    };
    add(
        "get", "Print a value",
        [](CLI::App& command, SettingsOptions& options) {
            addKey(command, options)->required();
            addName(command, options)->required();
        },
        getValue);
    add("set", "Set a value", addOptionsOfSet, setValue);
    add(
        "delete", "Delete a value, or a key with all below it",
        [](CLI::App& command, SettingsOptions& options) {
            addKey(command, options)->required();
            addName(command, options);
        },
        deleteSetting);
    add("list", "List a key's subkeys and values", addKey, listKey);
    add(
        "import", "Do what a .reg file says",
        [](CLI::App& command, SettingsOptions& options) {
            command.add_option("file", options.file, "the file, or - for standard input")
                ->required();
        },
        importFile);
    add(
        "export", "Write a key with all below it as a .reg file",
        [](CLI::App& command, SettingsOptions& options) {
            command.add_option("file", options.file, "the new file, or - for standard output")
                ->required();
            addKey(command, options);
        },
        exportTree);
}

}  // namespace zlk
