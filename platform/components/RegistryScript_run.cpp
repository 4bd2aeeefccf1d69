#include "platform/components/RegistryScript.h"

namespace zlk::platform {
namespace {

LSTATUS install(HKEY parent, const ScriptKey& key) {
    if (key.forceRemove) {
        const LSTATUS removed = RegDeleteTreeW(parent, key.name.c_str());
        // A key that only the installed classes have can't be deleted. The values of the new key
        // win over those of the installed key.
        if (removed != 0 && removed != static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) &&
            removed != static_cast<LSTATUS>(ERROR_ACCESS_DENIED))
            return removed;
    }
    HKEY made = nullptr;
    if (const LSTATUS status =
            RegCreateKeyExW(parent, key.name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &made, nullptr))
        return status;
    const RegistryKey owner(made);
    for (const ScriptValue& value : key.values)
        if (const LSTATUS status =
                RegSetValueExW(made, value.name.c_str(), 0, value.type, value.data.data(),
                               static_cast<DWORD>(value.data.size())))
            return status;
    for (const ScriptKey& subKey : key.keys)
        if (const LSTATUS status = install(made, subKey)) return status;
    return 0;
}

/// Whether a deletion succeeded or had nothing to do, because the store itself doesn't have the key
/// or value.
bool isGone(LSTATUS status) {
    return status == 0 || status == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ||
           status == static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
}

LSTATUS uninstall(HKEY parent, const ScriptKey& key) {
    LSTATUS failure = 0;
    const auto keep = [&](LSTATUS status) {
        if (failure == 0 && !isGone(status)) failure = status;
    };
    if (key.forceRemove && !key.noRemove) {
        keep(RegDeleteTreeW(parent, key.name.c_str()));
        return failure;
    }
    HKEY opened = nullptr;
    keep(RegOpenKeyExW(parent, key.name.c_str(), 0, KEY_ALL_ACCESS, &opened));
    if (!opened) return failure;
    const RegistryKey owner(opened);
    for (const ScriptKey& subKey : key.keys) keep(uninstall(opened, subKey));
    for (const ScriptValue& value : key.values) {
        if (!key.noRemove || !value.name.empty()) keep(RegDeleteValueW(opened, value.name.c_str()));
    }
    DWORD subKeys = 0, values = 0;
    keep(RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &values,
                          nullptr, nullptr, nullptr, nullptr));
    // A key in which somebody else has put something stays.
    if (failure == 0 && !key.noRemove && subKeys + values == 0)
        keep(RegDeleteTreeW(parent, key.name.c_str()));
    return failure;
}

}  // namespace

LSTATUS runScript(const std::vector<ScriptRoot>& script, bool installing) {
    LSTATUS failure = 0;
    for (const ScriptRoot& root : script) {
        // Opening a root key for writing fails if the store can't be written. So
        // ERROR_ACCESS_DENIED from the calls below means a key or value that the store itself
        // doesn't have.
        HKEY opened = nullptr;
        if (const LSTATUS status = RegOpenKeyExW(root.key, nullptr, 0, KEY_ALL_ACCESS, &opened))
            return status;
        const RegistryKey owner(opened);
        for (const ScriptKey& key : root.keys) {
            const LSTATUS status = installing ? install(opened, key) : uninstall(opened, key);
            if (installing && status != 0) return status;
            if (failure == 0) failure = status;
        }
    }
    return failure;
}

}  // namespace zlk::platform
