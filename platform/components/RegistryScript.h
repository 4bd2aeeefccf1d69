#pragma once
// A registrar's script (see registrar.h) as it is after its words have been replaced.

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/registrar.h"
#include "platform/registry.h"

namespace zlk::platform {

struct ScriptValue {
    std::u16string name;  ///< empty: the key's default value
    DWORD type;
    std::vector<BYTE> data;
};

struct ScriptKey {
    std::u16string name;  ///< one component
    bool forceRemove = false;
    bool noRemove = false;
    std::vector<ScriptValue> values;
    std::vector<ScriptKey> keys;
};

struct ScriptRoot {
    HKEY key;
    std::vector<ScriptKey> keys;
};

/// Why a script was refused, and where.
struct ScriptError : std::runtime_error {
    ScriptError(int where, const char* reason) : std::runtime_error(reason), line(where) {}
    int line;
};

/// Throws ScriptError.
std::vector<ScriptRoot> parseRegistryScript(std::u16string_view text,
                                            std::span<const RegistrarWord> words);

/// Writes what a script names, or takes it away (see registrar.h). Registering stops at the first
/// failure; unregistering goes on, and returns it.
LSTATUS runScript(const std::vector<ScriptRoot>& script, bool installing);

}  // namespace zlk::platform
