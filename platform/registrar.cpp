#include "platform/registrar.h"

#include <string>

#include "platform/base/Diagnose.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/components/RegistryScript.h"
#include "platform/files/PathTarget.h"
#include "platform/settings/RegistryKeys.h"
#include "platform/text.h"

namespace zlk {
namespace {

/// Reads the script's text from UTF-8; false if it isn't UTF-8.
bool scriptText(HMODULE module, HRSRC resource, std::u16string& text) {
    const auto size = static_cast<int>(SizeofResource(module, resource));
    const auto* bytes = static_cast<const char*>(LoadResource(module, resource));
    if (size == 0) return true;
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, size, nullptr, 0);
    text.resize(static_cast<std::size_t>(units));
    return units > 0 && MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, size, text.data(),
                                            units) == units;
}

HRESULT runScript(HMODULE module, WORD resource, bool installing,
                  std::span<const RegistrarWord> words) {
    const HRSRC found = FindResourceW(module, resource, u"REGISTRY");
    if (!found) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NOT_FOUND);
    std::u16string text;
    if (!scriptText(module, found, text)) return E_INVALIDARG;
    try {
        const LSTATUS status =
            platform::runScript(platform::parseRegistryScript(text, words), installing);
        return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
    } catch (const platform::ScriptError& error) {
        platform::diagnose("Registrar", u"script %u, line %d: %s", resource, error.line,
                           error.what());
        return E_INVALIDARG;
    }
}

}  // namespace

HRESULT runRegistryScript(HMODULE module, WORD resource, bool install,
                          std::span<const RegistrarWord> words) noexcept {
    return platform::withoutExceptions<HRESULT>(
        E_OUTOFMEMORY, [&] { return runScript(module, resource, install, words); });
}

}  // namespace zlk

LSTATUS saveInstalledClasses(const WCHAR* path) noexcept {
    if (!path || !*path) return ERROR_INVALID_PARAMETER;
    std::optional<zlk::platform::PathTarget::Entry> entry;
    // The path is resolved before the store is locked, because the folder of a drive is itself a
    // setting.
    const bool found = zlk::platform::withoutExceptions(false, [&] {
        std::optional target = zlk::platform::PathTarget::find(path);
        if (target) entry = target->entry();
        return entry.has_value();
    });
    if (!found) return static_cast<LSTATUS>(GetLastError());
    using zlk::platform::RegistryKeys;
    return RegistryKeys::run([&](RegistryKeys& keys) {
        // The open folder stands in the path, so that the file is made where `path` was found to
        // lead.
        keys.saveClasses("/proc/self/fd/" + std::to_string(entry->folder.get()) + '/' +
                         entry->name);
    });
}
