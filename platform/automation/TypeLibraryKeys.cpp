#include "platform/automation/TypeLibraryKeys.h"

#include <iterator>
#include <utility>

#include "platform/components/ClassTable.h"
#include "platform/components/RegistryScript.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

std::u16string versionText(WORD majorVersion, WORD minorVersion) {
    return formatText(u"%x.%x", majorVersion, minorVersion);
}

std::u16string systemText(SYSKIND kind) {
    return kind == SYS_WIN64 ? u"win64" : u"win32";
}

ScriptValue text(std::u16string name, const std::u16string& data) {
    const auto* bytes = reinterpret_cast<const BYTE*>(data.c_str());
    return {std::move(name), REG_SZ, {bytes, bytes + (data.size() + 1) * sizeof(WCHAR)}};
}

ScriptKey key(std::u16string name, std::vector<ScriptValue> values,
              std::vector<ScriptKey> keys = {}) {
    return {.name = std::move(name), .values = std::move(values), .keys = std::move(keys)};
}

// An interface that the library describes: its id and name, as they are written into the keys.
struct DescribedInterface {
    std::u16string id, name;
};

/// The keys and values of a library, which are written and removed as a registrar's script. For
/// removing, only the names of keys and values matter.
struct LibraryKeys {
    TypeLibraryName name;
    SYSKIND system;
    std::u16string help, path, helpFolder;
    std::vector<DescribedInterface> interfaces;

    std::vector<ScriptRoot> script() const;
};

std::vector<ScriptRoot> LibraryKeys::script() const {
    const std::u16string id = guidText(name.id);
    const std::u16string version = versionText(name.majorVersion, name.minorVersion);
    std::vector<ScriptKey> below{
        key(formatText(u"%x", name.locale), {}, {key(systemText(system), {text(u"", path)})}),
        key(u"FLAGS", {text(u"", u"0")}), key(u"HELPDIR", {text(u"", helpFolder)})};
    ScriptKey libraries =
        key(u"TypeLib", {}, {key(id, {}, {key(version, {text(u"", help)}, std::move(below))})});
    ScriptKey interfaceKeys = key(u"Interface", {});
    for (const DescribedInterface& each : interfaces) {
        interfaceKeys.keys.push_back(
            key(each.id, {text(u"", each.name)},
                {key(u"TypeLib", {text(u"", id), text(u"Version", version)})}));
        interfaceKeys.keys.back().forceRemove = true;
    }
    return {{HKEY_CLASSES_ROOT, {std::move(libraries), std::move(interfaceKeys)}}};
}

/// The names of the subkeys of a key of HKEY_CLASSES_ROOT; none if the key can't be opened.
std::vector<std::u16string> namesBelow(const std::u16string& path) {
    std::vector<std::u16string> names;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &opened) != 0) return names;
    const RegistryKey owner(opened);
    for (DWORD index = 0;; ++index) {
        WCHAR name[256];
        auto length = static_cast<DWORD>(std::size(name));
        if (RegEnumKeyExW(opened, index, name, &length, nullptr, nullptr, nullptr, nullptr) != 0)
            return names;
        names.emplace_back(name, length);
    }
}

/// Whether the keys of an interface name this library, in this version.
bool isOf(const std::u16string& interfaceId, const TypeLibraryName& library) {
    const std::u16string described = u"Interface\\" + interfaceId + u"\\TypeLib";
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, described.c_str(), 0, KEY_READ, &opened) != 0)
        return false;
    const RegistryKey owner(opened);
    const auto says = [&](const WCHAR* value, const std::u16string& expected) {
        WCHAR text[64] = {};
        DWORD size = sizeof text - sizeof text[0];
        return RegQueryValueExW(opened, value, nullptr, nullptr, reinterpret_cast<BYTE*>(text),
                                &size) == 0 &&
               equalIgnoringCase(text, expected);
    };
    return says(nullptr, guidText(library.id)) &&
           says(u"Version", versionText(library.majorVersion, library.minorVersion));
}

HRESULT readAttributes(ITypeLib& library, LibraryKeys& keys) {
    TLIBATTR* attributes = nullptr;
    if (const HRESULT got = library.GetLibAttr(&attributes); FAILED(got)) return got;
    keys.name = {attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                 attributes->lcid};
    keys.system = attributes->syskind;
    library.ReleaseTLibAttr(attributes);
    Bstr help;
    const HRESULT got = library.GetDocumentation(-1, nullptr, help.out(), nullptr, nullptr);
    keys.help = help.view();
    return got;
}

HRESULT addInterface(ITypeLib& library, UINT index, LibraryKeys& keys) {
    ComPtr<ITypeInfo> info;
    TYPEATTR* attributes = nullptr;
    Bstr name;
    if (const HRESULT got = library.GetTypeInfo(index, info.out()); FAILED(got)) return got;
    if (const HRESULT got =
            info->GetDocumentation(MEMBERID_NIL, name.out(), nullptr, nullptr, nullptr);
        FAILED(got))
        return got;
    if (const HRESULT got = info->GetTypeAttr(&attributes); FAILED(got)) return got;
    const GUID id = attributes->guid;
    info->ReleaseTypeAttr(attributes);
    keys.interfaces.push_back({guidText(id), std::u16string(name.view())});
    return S_OK;
}

HRESULT resultOf(LSTATUS status) {
    if (status == 0) return S_OK;
    const bool noMemory = status == static_cast<LSTATUS>(ERROR_NOT_ENOUGH_MEMORY);
    return noMemory ? E_OUTOFMEMORY : TYPE_E_REGISTRYACCESS;
}

}  // namespace

HRESULT findTypeLibrary(const TypeLibraryName& name, std::u16string& path) {
    const std::u16string version = formatText(u"TypeLib\\%s\\%s", guidText(name.id),
                                              versionText(name.majorVersion, name.minorVersion));
    std::vector<std::u16string> locales = namesBelow(version);
    locales.insert(locales.begin(), formatText(u"%x", name.locale));
    for (const std::u16string& locale : locales) {
        const std::u16string key =
            formatText(u"%s\\%s\\%s", version, locale, systemText(ownSystem));
        const HRESULT read = readClassText(key, TYPE_E_LIBNOTREGISTERED, path);
        if (read != TYPE_E_LIBNOTREGISTERED) return read;
    }
    return TYPE_E_LIBNOTREGISTERED;
}

HRESULT writeTypeLibraryKeys(ITypeLib& library, const std::u16string& path,
                             const std::u16string& helpFolder) {
    LibraryKeys keys{};
    keys.path = path;
    keys.helpFolder = helpFolder;
    if (const HRESULT read = readAttributes(library, keys); FAILED(read)) return read;
    for (UINT index = 0; index < library.GetTypeInfoCount(); ++index) {
        TYPEKIND kind;
        if (const HRESULT got = library.GetTypeInfoType(index, &kind); FAILED(got)) return got;
        if (kind != TKIND_DISPATCH) continue;
        if (const HRESULT added = addInterface(library, index, keys); FAILED(added)) return added;
    }
    return resultOf(runScript(keys.script(), true));
}

HRESULT removeTypeLibraryKeys(const TypeLibraryName& name, SYSKIND kind) {
    LibraryKeys keys{};
    keys.name = name;
    keys.system = kind;
    // The library's file may be gone already, so its interfaces are found by their keys.
    for (const std::u16string& id : namesBelow(u"Interface"))
        if (isOf(id, name)) keys.interfaces.push_back({id, {}});
    return resultOf(runScript(keys.script(), false));
}

}  // namespace zlk::platform
