#include "platform/modules.h"

#include <dlfcn.h>
#include <link.h>

#include <string>

#include "platform/base/Diagnose.h"
#include "platform/base/FileName.h"
#include "platform/base/TrustedFile.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/components/ModuleFile.h"
#include "platform/components/ModuleResources.h"

using namespace zlk::platform;

namespace {

// An HMODULE is what dlopen() returns, which is a pointer to the module's link_map. So
// moduleFromAddress() gets it from dladdr1() alone, without a second dlopen() and without a table
// of ours that could disagree with the loader's.
link_map* mapOf(HMODULE module) noexcept {
    return reinterpret_cast<link_map*>(module);
}

HMODULE load(const WCHAR* path) {
    const std::string found = findModuleFile(path ? path : u"");
    // The check goes by the open file; isWholeModule and the loader then use the path without
    // links, which nobody else can redirect.
    const TrustedFile file = found.empty() ? TrustedFile() : openTrusted(found);
    if (!file || !isWholeModule(file.path)) return nullptr;
    // The loader gets the path and not the open file, so that it knows the module by this path.
    void* const loaded = ::dlopen(file.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded) {
        diagnose("Modules", u"%s", ::dlerror());
        SetLastError(ERROR_MOD_NOT_FOUND);
    }
    return static_cast<HMODULE>(loaded);
}

HRSRC find(HMODULE module, const ResourceKey& key) noexcept {
    const HRSRC found = module ? findResourceNote(*mapOf(module), key) : nullptr;
    if (!found) SetLastError(ERROR_RESOURCE_NOT_FOUND);
    return found;
}

}  // namespace

HMODULE LoadLibraryW(const WCHAR* path) noexcept {
    return withoutExceptions<HMODULE>(nullptr, [&] { return load(path); });
}

BOOL FreeLibrary(HMODULE module) noexcept {
    if (module && ::dlclose(module) == 0) return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

void* GetProcAddress(HMODULE module, const char* name) noexcept {
    // dlsym() also finds names in the libraries that the module depends on; those don't count as
    // exported by the module itself.
    void* const address = module && name ? ::dlsym(module, name) : nullptr;
    if (address && moduleFromAddress(address) == module) return address;
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}

HMODULE moduleFromAddress(const void* address) noexcept {
    Dl_info info;
    link_map* map = nullptr;
    if (address && ::dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) &&
        map)
        return reinterpret_cast<HMODULE>(map);
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

DWORD GetModuleFileNameW(HMODULE module, WCHAR* buffer, DWORD room) noexcept {
    if (!module || !buffer || room == 0) {
        SetLastError(module ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
        return 0;
    }
    return withoutExceptions<DWORD>(0, [&] {
        const std::u16string path = nameText(mapOf(module)->l_name);
        const std::size_t length = path.copy(buffer, room - 1);
        buffer[length] = 0;
        if (length == path.size()) return static_cast<DWORD>(length);
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return room;
    });
}

HRSRC FindResourceW(HMODULE module, WORD id, const WCHAR* type) noexcept {
    // Types have short ASCII names; any other name can't be that of a resource.
    char name[16] = {};
    std::size_t length = 0;
    for (; type && type[length]; ++length) {
        if (length == sizeof name - 1 || type[length] > 0x7E) {
            SetLastError(ERROR_RESOURCE_NOT_FOUND);
            return nullptr;
        }
        name[length] = static_cast<char>(type[length]);
    }
    return find(module, {id, 0, {name, length}});
}

HRSRC FindResourceW(HMODULE module, WORD id, WORD type) noexcept {
    return find(module, {id, type, {}});
}

const void* LoadResource(HMODULE, HRSRC resource) noexcept {
    return resource ? resourceBytes(*resource).data() : nullptr;
}

DWORD SizeofResource(HMODULE, HRSRC resource) noexcept {
    return resource ? static_cast<DWORD>(resourceBytes(*resource).size()) : 0;
}
