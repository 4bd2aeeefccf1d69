// The commands register and unregister, which have modules enter their components for this user, or
// take them out. Modules do so by entry points of their own.

#include <algorithm>
#include <array>

#include "platform/files.h"
#include "platform/modules.h"
#include "platform/registrar.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

using EntryPoint = HRESULT (*)();

/// Loads a module, and unloads it in the destructor. Throws Failure.
class Module {
  public:
    explicit Module(const std::u16string& path) : module_(LoadLibraryW(path.c_str())) {
        if (module_) return;
        const DWORD error = GetLastError();
        throw moduleFailure("The module " + utf8Text(path) + " doesn't load", error,
                            "Check the path.");
    }
    ~Module() { FreeLibrary(module_); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    // Null if the module doesn't have this entry point.
    EntryPoint find(const char* name) const {
        return reinterpret_cast<EntryPoint>(GetProcAddress(module_, name));
    }

  private:
    HMODULE module_;
};

/// The folder of the modules, which lies beside the platform's library wherever that was installed.
std::u16string moduleFolder() {
    std::array<WCHAR, 4096> path{};
    const HMODULE platform = moduleFromAddress(reinterpret_cast<const void*>(&GetLastError));
    const DWORD length = GetModuleFileNameW(platform, path.data(), static_cast<DWORD>(path.size()));
    const std::u16string_view file(path.data(), length);
    return std::u16string(file.substr(0, file.rfind(u'/'))) + u"/zlkcamtr";
}

std::vector<std::u16string> installedModules() {
    const std::u16string folder = moduleFolder();
    std::vector<std::u16string> modules;
    WIN32_FIND_DATAW entry{};
    const UniqueWalk walk = startWalk(folder + u"/*", entry);
    if (!walk)
        throw Failure(
            ExitStatus::NotRegistered,
            "The modules' folder " + utf8Text(folder) + " can't be read: " + reasonText() + ".",
            "Name the modules: zlkcam register MODULE...");
    do {
        const std::u16string_view name = entry.cFileName;
        if (name.ends_with(u".so")) modules.push_back(folder + u"/" + std::u16string(name));
    } while (FindNextFileW(walk.get(), &entry));
    return modules;
}

struct RegisterOptions {
    std::vector<std::string> modules;
    std::string installed;
};

/// Throws the Failure of an entry point that returned an error.
[[noreturn]] void throwNotRun(const std::u16string& path, HRESULT result) {
    const std::string what = utf8Text(path) + " doesn't register";
    if (const DWORD error = settingsError(result)) throw settingsFailure(what, error);
    throw Failure(ExitStatus::NotRegistered,
                  what + ": " + reasonText(static_cast<DWORD>(result)) + ".");
}

/// Calls an entry point of each named module, or of all modules in their folder if none is named. A
/// module in the folder without the entry point has no components and is skipped; a module that was
/// named must have it.
void runModules(Tool& tool, const std::vector<std::string>& named, const char* entryPoint,
                const char* done) {
    std::vector<std::u16string> paths;
    paths.reserve(named.size());
    for (const std::string& path : named) paths.push_back(absolutePath(pathArgument(path)));
    if (named.empty()) paths = installedModules();
    std::size_t count = 0;
    tool.answer.beginObject().key("modules").beginArray();
    for (const std::u16string& path : paths) {
        const Module module(path);
        const EntryPoint run = module.find(entryPoint);
        if (!run && named.empty()) continue;
        if (!run)
            throw Failure(ExitStatus::NotRegistered,
                          utf8Text(path) + " isn't a module of components.");
        if (const HRESULT result = run(); FAILED(result)) throwNotRun(path, result);
        tool.say(std::string(done) + " " + utf8Text(path));
        tool.answer.value(path);
        ++count;
    }
    tool.answer.endArray();
    if (count == 0)
        throw Failure(ExitStatus::NotRegistered, "There are no modules to register.",
                      "Name them: zlkcam register MODULE...");
}

void runRegister(Tool& tool, const RegisterOptions& options) {
    runModules(tool, options.modules, "DllRegisterServer", "Registered");
    if (!options.installed.empty()) {
        const std::u16string file = absolutePath(pathArgument(options.installed));
        // The file is a store of classes for all users, which packages put beside the modules.
        const LSTATUS result = saveInstalledClasses(file.c_str());
        if (result != ERROR_SUCCESS)
            throw Failure(ExitStatus::FileUnusable,
                          "The classes can't be written to " + utf8Text(file) + ": " +
                              reasonText(static_cast<DWORD>(result)) + ".");
        tool.say("Installed classes are in " + utf8Text(file));
        tool.answer.member("installed", file);
    }
    tool.answer.endObject();
}

}  // namespace

void addRegisterCommands(CLI::App& app, Tool& tool) {
    addCommand<RegisterOptions>(
        app, "register", "Register the components for this user, once",
        [](CLI::App& command, RegisterOptions& options) {
            command.add_option("modules", options.modules, "only these, and not all modules");
            command.add_option("--installed", options.installed,
                               "also write all classes to this new file, for the modules' folder");
        },
        [&tool](const RegisterOptions& options) { runRegister(tool, options); });
    addCommand<RegisterOptions>(
        app, "unregister", "Take the components' registration away",
        [](CLI::App& command, RegisterOptions& options) {
            command.add_option("modules", options.modules, "only these, and not all modules");
        },
        [&tool](const RegisterOptions& options) {
            runModules(tool, options.modules, "DllUnregisterServer", "Unregistered");
            tool.answer.endObject();
        });
}

}  // namespace zlk
