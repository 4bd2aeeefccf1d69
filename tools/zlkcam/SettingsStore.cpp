#include "tools/zlkcam/SettingsStore.h"

#include <algorithm>

#include "platform/text.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

constexpr DWORD maxName = 256;  // UTF-16 units of a name with its terminator

struct Root {
    std::u16string_view name;
    std::u16string_view shortName;
    HKEY key;
};
const Root roots[] = {{u"HKEY_LOCAL_MACHINE", u"HKLM", HKEY_LOCAL_MACHINE},
                      {u"HKEY_CLASSES_ROOT", u"HKCR", HKEY_CLASSES_ROOT}};

/// Throws the Failure of a call that didn't succeed.
void require(LSTATUS result, const std::string& doing, const SettingsPath& path) {
    if (result == ERROR_SUCCESS) return;
    const std::string failed = doing + " " + utf8Text(path.full()) + " failed";
    if (result != ERROR_FILE_NOT_FOUND) throw settingsFailure(failed, static_cast<DWORD>(result));
    throw Failure(ExitStatus::SettingsUnusable,
                  failed + ": " + reasonText(ERROR_FILE_NOT_FOUND) + ".",
                  "zlkcam settings list shows what there is.");
}

RegistryKey openKey(const SettingsPath& path, DWORD access) {
    HKEY key = nullptr;
    require(RegOpenKeyExW(path.root, path.below.c_str(), 0, access, &key), "Opening", path);
    return RegistryKey(key);
}

RegistryKey makeKey(const SettingsPath& path) {
    HKEY key = nullptr;
    require(RegCreateKeyExW(path.root, path.below.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_READ | KEY_WRITE, nullptr, &key, nullptr),
            "Making", path);
    return RegistryKey(key);
}

/// As require(), but accepts that there was nothing to delete.
void requireGone(LSTATUS result, const SettingsPath& path) {
    if (result != ERROR_FILE_NOT_FOUND) require(result, "Deleting", path);
}

/// Deletes a key, or makes it if necessary and sets and deletes values of it.
void applyKey(const SettingsPath& path, const SettingsKey& key) {
    if (key.remove) return requireGone(RegDeleteTreeW(path.root, path.below.c_str()), path);
    const RegistryKey made = makeKey(path);
    for (const SettingsValue& value : key.values) {
        if (value.remove) {
            requireGone(RegDeleteValueW(made.get(), value.name.c_str()), path);
        } else {
            require(RegSetValueExW(made.get(), value.name.c_str(), 0, value.type, value.data.data(),
                                   static_cast<DWORD>(value.data.size())),
                    "Writing", path);
        }
    }
}

LSTATUS readValue(HKEY key, DWORD index, SettingsValue& value) {
    WCHAR name[maxName];
    // This size is enough for nearly every value. For others the store returns the needed size.
    DWORD size = 256;
    for (;;) {
        DWORD length = maxName;
        value.data.resize(size);
        const LSTATUS status = RegEnumValueW(key, index, name, &length, nullptr, &value.type,
                                             value.data.data(), &size);
        // The value was longer than the buffer, or another process made it longer meanwhile. It is
        // read again with the size that was returned.
        if (status == ERROR_MORE_DATA && size > value.data.size()) continue;
        if (status == ERROR_SUCCESS) {
            value.name.assign(name, length);
            value.data.resize(size);
        }
        return status;
    }
}

}  // namespace

SettingsPath::SettingsPath(std::u16string_view text) : root(HKEY_LOCAL_MACHINE), below(text) {
    while (below.ends_with(u'\\')) below.pop_back();
    const std::size_t end = std::min(below.find(u'\\'), below.size());
    const std::u16string_view first = std::u16string_view(below).substr(0, end);
    for (const Root& known : roots) {
        if (!equalIgnoringCase(first, known.name) && !equalIgnoringCase(first, known.shortName))
            continue;
        root = known.key;
        below.erase(0, end + 1);
        return;
    }
    // Without this check the path would silently become a key below HKEY_LOCAL_MACHINE.
    if (equalIgnoringCase(first.substr(0, 5), u"HKEY_"))
        throw Failure(ExitStatus::Usage, "There is no root key " + utf8Text(first) + ".",
                      "The roots are HKEY_LOCAL_MACHINE and HKEY_CLASSES_ROOT.");
}

std::u16string SettingsPath::full() const {
    const std::u16string_view name = roots[root == HKEY_CLASSES_ROOT].name;
    return std::u16string(name) + (below.empty() ? u"" : u"\\") + below;
}

SettingsKey SettingsStore::readKey(const SettingsPath& path) {
    const RegistryKey key = openKey(path, KEY_READ);
    SettingsKey result;
    result.path = path.full();
    for (DWORD index = 0;; ++index) {
        SettingsValue value;
        const LSTATUS status = readValue(key.get(), index, value);
        if (status == ERROR_NO_MORE_ITEMS) return result;
        require(status, "Reading", path);
        result.values.push_back(std::move(value));
    }
}

std::vector<std::u16string> SettingsStore::subKeys(const SettingsPath& path) {
    const RegistryKey key = openKey(path, KEY_READ);
    std::vector<std::u16string> names;
    for (DWORD index = 0;; ++index) {
        WCHAR name[maxName];
        DWORD length = maxName;
        const LSTATUS status =
            RegEnumKeyExW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return names;
        require(status, "Reading", path);
        names.emplace_back(name, length);
    }
}

std::vector<std::u16string> SettingsStore::subKeysIfAny(const SettingsPath& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(path.root, path.below.c_str(), 0, KEY_READ, &key) == ERROR_FILE_NOT_FOUND)
        return {};
    // Any other error is reported by subKeys, which tries again.
    const RegistryKey opened(key);
    return subKeys(path);
}

std::u16string SettingsStore::text(const SettingsPath& path, std::u16string_view name) {
    std::u16string text;
    try {
        for (const SettingsValue& value : readKey(path).values)
            if (equalIgnoringCase(value.name, name) && value.type == REG_SZ)
                dataText(value.data, text);
    } catch (const Failure&) {
        // Most keys that are looked up are optional.
    }
    return text;
}

void SettingsStore::setText(const SettingsPath& path, std::u16string_view name,
                            std::u16string_view text) {
    setValue(path, {std::u16string(name), REG_SZ, textData(text)});
}

std::vector<SettingsKey> SettingsStore::readTree(const SettingsPath& path) {
    std::vector<SettingsKey> keys;
    std::vector<SettingsPath> waiting{path};
    // `waiting` is a stack. Subkeys are pushed in reverse, so that they are read in their order.
    while (!waiting.empty()) {
        SettingsPath next = waiting.back();
        waiting.pop_back();
        keys.push_back(readKey(next));
        const std::vector<std::u16string> names = subKeys(next);
        for (auto name = names.rbegin(); name != names.rend(); ++name) {
            SettingsPath child = next;
            child.below += (child.below.empty() ? u"" : u"\\") + *name;
            waiting.push_back(std::move(child));
        }
    }
    return keys;
}

void SettingsStore::setValue(const SettingsPath& path, SettingsValue value) {
    SettingsKey key;
    key.values.push_back(std::move(value));
    applyKey(path, key);
}

void SettingsStore::removeValue(const SettingsPath& path, const std::u16string& name) {
    const RegistryKey key = openKey(path, KEY_WRITE);
    require(RegDeleteValueW(key.get(), name.c_str()), "Deleting a value of", path);
}

void SettingsStore::removeKey(const SettingsPath& path) {
    if (path.below.empty())
        throw Failure(ExitStatus::Usage, "A root key can't be deleted.", "Name a key below it.");
    require(RegDeleteTreeW(path.root, path.below.c_str()), "Deleting", path);
}

void SettingsStore::replace(const SettingsKey& key) {
    const SettingsPath path(key.path);
    applyKey(path, key);
    for (const SettingsValue& value : readKey(path).values) {
        const bool stays = std::any_of(
            key.values.begin(), key.values.end(),
            [&](const SettingsValue& kept) { return equalIgnoringCase(kept.name, value.name); });
        if (!stays) removeValue(path, value.name);
    }
}

void SettingsStore::apply(const std::vector<SettingsKey>& keys) {
    // All paths are checked before the first write, so that a wrong root changes nothing.
    std::vector<SettingsPath> paths;
    for (const SettingsKey& key : keys) {
        paths.emplace_back(key.path);
        // removeKey throws for a root.
        if (key.remove && paths.back().below.empty()) removeKey(paths.back());
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        try {
            applyKey(paths[i], keys[i]);
        } catch (const Failure& failure) {
            throw Failure(failure.status,
                          "The key at line " + std::to_string(keys[i].line) + ": " + failure.what(),
                          "What stands in front of that line is done.");
        }
    }
}

}  // namespace zlk
