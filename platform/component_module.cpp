#include "platform/component_module.h"

#include <new>
#include <string>

#include "platform/registrar.h"

namespace zlk {
namespace {

/// Longer than any path of this machine, in units.
constexpr DWORD pathRoom = 32768;

HRESULT runScripts(HMODULE module, std::span<const ComponentClass> classes, bool install) {
    std::u16string path(pathRoom, u'\0');
    const DWORD length = GetModuleFileNameW(module, path.data(), pathRoom);
    if (length == 0 || length == pathRoom) return HRESULT_FROM_WIN32(GetLastError());
    path.resize(length);

    const RegistrarWord words[] = {{u"MODULE", path}, {u"APPID", u""}};
    HRESULT result = S_OK;
    for (const ComponentClass& component : classes) {
        const HRESULT ran = runRegistryScript(module, component.registryScript, install, words);
        if (SUCCEEDED(result)) result = ran;
        // What is left of an incomplete module is still taken away.
        if (install && FAILED(result)) break;
    }
    // A type library would be registered here, from `path`: automation isn't served yet.
    return result;
}

}  // namespace

HRESULT registerComponents(HMODULE module, std::span<const ComponentClass> classes,
                           bool install) noexcept {
    try {
        return runScripts(module, classes, install);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace zlk
