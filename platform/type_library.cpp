#include "platform/type_library.h"

#include "platform/automation/TypeLibraryFile.h"
#include "platform/automation/TypeLibraryKeys.h"
#include "platform/automation/TypeLibraryObject.h"
#include "platform/component_object.h"

using namespace zlk::platform;
using zlk::guarded;

namespace {

HRESULT load(const std::u16string& path, ITypeLib** library) {
    FoundTypeLibrary found;
    if (const HRESULT loaded = loadTypeLibrary(path, found); FAILED(loaded)) return loaded;
    *library = new TypeLibraryObject(std::move(found.library));
    return S_OK;
}

}  // namespace

HRESULT LoadTypeLib(const WCHAR* path, ITypeLib** library) noexcept {
    if (!path || !library) return E_INVALIDARG;
    *library = nullptr;
    return guarded([&] { return load(path, library); });
}

HRESULT LoadRegTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                       ITypeLib** library) noexcept {
    if (!library) return E_INVALIDARG;
    *library = nullptr;
    return guarded([&] {
        std::u16string path;
        const HRESULT found = findTypeLibrary({id, majorVersion, minorVersion, localeId}, path);
        return FAILED(found) ? found : load(path, library);
    });
}

HRESULT RegisterTypeLib(ITypeLib* library, const WCHAR* path, const WCHAR* helpFolder) noexcept {
    if (!library || !path) return E_INVALIDARG;
    return guarded(
        [&] { return writeTypeLibraryKeys(*library, path, helpFolder ? helpFolder : u""); });
}

HRESULT UnRegisterTypeLib(const GUID& id, WORD majorVersion, WORD minorVersion, DWORD localeId,
                          SYSKIND kind) noexcept {
    return guarded([&] {
        return removeTypeLibraryKeys({id, majorVersion, minorVersion, localeId}, kind);
    });
}
