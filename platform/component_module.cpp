#include "platform/component_module.h"

#include <string>

#include "platform/automation/TypeLibraryFile.h"
#include "platform/automation/TypeLibraryKeys.h"
#include "platform/automation/TypeLibraryObject.h"
#include "platform/components/ModuleFile.h"
#include "platform/registrar.h"

namespace zlk {
namespace {

// Registers the classes up to the first failure, or unregisters all and returns the first failure.
HRESULT runScripts(HMODULE module, std::span<const ComponentClass> classes, bool install) {
    std::u16string path;
    if (const HRESULT named = platform::readModulePath(module, path); FAILED(named)) return named;
    const RegistrarWord words[] = {{u"MODULE", path}, {u"APPID", u""}};
    HRESULT result = S_OK;
    for (const ComponentClass& component : classes) {
        const HRESULT ran = runRegistryScript(module, component.registryScript, install, words);
        if (SUCCEEDED(result)) result = ran;
        // Unregistering goes on, so that a failure leaves as little as possible registered.
        if (install && FAILED(result)) break;
    }
    return result;
}

HRESULT runTypeLibrary(HMODULE module, bool install) {
    platform::FoundTypeLibrary found;
    if (const HRESULT loaded = platform::loadOwnTypeLibrary(module, found); FAILED(loaded))
        return loaded;
    const platform::TypeLibrary& library = *found.library;
    if (!install)
        return UnRegisterTypeLib(library.id, library.majorVersion, library.minorVersion,
                                 library.locale, platform::ownSystem);
    ComPtr<ITypeLib> object;
    *object.out() = new platform::TypeLibraryObject(found.library);
    return RegisterTypeLib(object.get(), found.path.c_str(), nullptr);
}

}  // namespace

HRESULT registerComponents(HMODULE module, std::span<const ComponentClass> classes,
                           ModuleTypeLibrary typeLibrary, bool install) noexcept {
    return guarded([&] {
        HRESULT result = runScripts(module, classes, install);
        if (typeLibrary == ModuleTypeLibrary::Registered && (SUCCEEDED(result) || !install)) {
            const HRESULT ran = runTypeLibrary(module, install);
            if (SUCCEEDED(result)) result = ran;
        }
        return result;
    });
}

}  // namespace zlk
