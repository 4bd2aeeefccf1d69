#pragma once
// A registrar's script (see registrar.h) in parsed form, with the words between % and % replaced.

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

/// The reason why a script was refused; `line` counts from 1.
struct ScriptError : std::runtime_error {
    ScriptError(int where, const char* reason) : std::runtime_error(reason), line(where) {}
    int line;
};

/// Parses a whole script. Throws ScriptError.
std::vector<ScriptRoot> parseRegistryScript(std::u16string_view text,
                                            std::span<const RegistrarWord> words);

/// Writes the keys and values of a script, or with `installing` false takes them away (see
/// registrar.h). Registering stops at the first failure. Unregistering goes on after a failure, and
/// returns the first failure at the end. But it stops if a root key can't be opened for writing.
LSTATUS runScript(const std::vector<ScriptRoot>& script, bool installing);

}  // namespace zlk::platform
