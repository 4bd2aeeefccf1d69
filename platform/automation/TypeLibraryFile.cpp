#include "platform/automation/TypeLibraryFile.h"

#include <charconv>

#include "platform/base/SmallFile.h"
#include "platform/base/TrustedFile.h"
#include "platform/components/ClassTable.h"
#include "platform/components/ModuleFile.h"
#include "platform/modules.h"
#include "platform/text.h"
#include "platform/type_library.h"

namespace zlk::platform {
namespace {

// The number of the resource if the path names none.
constexpr WORD usualResource = 1;

HRESULT parse(std::span<const std::byte> bytes, FoundTypeLibrary& found) {
    auto library = readTypeLibrary(bytes);
    if (!library) return TYPE_E_INVDATAREAD;
    found.library = std::make_shared<const TypeLibrary>(*std::move(library));
    return S_OK;
}

HRESULT readResource(HMODULE module, WORD number, FoundTypeLibrary& found) {
    const HRSRC resource = FindResourceW(module, number, u"TYPELIB");
    if (!resource) return TYPE_E_CANTLOADLIBRARY;
    const auto* bytes = static_cast<const std::byte*>(LoadResource(module, resource));
    return parse({bytes, SizeofResource(module, resource)}, found);
}

HRESULT readModule(const std::u16string& path, WORD number, FoundTypeLibrary& found) {
    // The library is copied out of the module, which needn't stay loaded.
    struct Unload {
        HMODULE module;
        ~Unload() { FreeLibrary(module); }
    };
    const HMODULE module = LoadLibraryW(path.c_str());
    if (!module) return resultOfLoading(TYPE_E_CANTLOADLIBRARY);
    const Unload unload{module};
    return readResource(module, number, found);
}

/// Reads a library from a file of its own. TYPE_E_CANTLOADLIBRARY for a file that is missing, isn't
/// trusted, can't be read or doesn't begin as a library does. The file must be as trustworthy as a
/// module, because it decides where calls jump to in an object's virtual table.
HRESULT readFile(const std::u16string& path, FoundTypeLibrary& found) {
    const std::string name = findModuleFile(path);
    const TrustedFile file = name.empty() ? TrustedFile() : openTrusted(name);
    if (!file) return resultOfLoading(TYPE_E_CANTLOADLIBRARY);
    if (readSmallFile(file.path, typelib::magic.size()) != typelib::magic)
        return TYPE_E_CANTLOADLIBRARY;
    // One byte more than the largest file may have, so that a larger one is noticed and refused.
    const std::string bytes = readSmallFile(file.path, largestTypeLibrary + 1);
    return parse(std::as_bytes(std::span(bytes)), found);
}

// A path may lead to a library or to a module with one; only a module has numbered resources.
HRESULT readEither(const std::u16string& path, WORD number, FoundTypeLibrary& found) {
    const HRESULT read = number == usualResource ? readFile(path, found) : TYPE_E_CANTLOADLIBRARY;
    return read == TYPE_E_CANTLOADLIBRARY ? readModule(path, number, found) : read;
}

/// The number after the last backslash; 0 if something other than a number up to 65535 stands
/// there.
WORD numberAtEnd(const std::u16string& path, std::size_t backslash) {
    const std::string digits = utf8Text(path.substr(backslash + 1));
    const char* const end = digits.data() + digits.size();
    WORD number = 0;
    const auto [parsed, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && parsed == end ? number : WORD{0};
}

}  // namespace

HRESULT loadTypeLibrary(const std::u16string& path, FoundTypeLibrary& found) {
    found.path = path;
    const HRESULT read = readEither(path, usualResource, found);
    // The whole path is tried first, because the last component of a real path may be a number too.
    const std::size_t backslash = path.rfind(u'\\');
    if (read != TYPE_E_CANTLOADLIBRARY || backslash == path.npos) return read;
    const WORD number = numberAtEnd(path, backslash);
    return number == 0 ? read : readEither(path.substr(0, backslash), number, found);
}

HRESULT loadOwnTypeLibrary(HMODULE module, FoundTypeLibrary& found) {
    if (const HRESULT named = readModulePath(module, found.path); FAILED(named)) return named;
    const HRESULT read = readResource(module, usualResource, found);
    if (read != TYPE_E_CANTLOADLIBRARY) return read;
    const std::size_t dot = found.path.rfind(u'.');
    if (dot == found.path.npos || found.path.find(u'/', dot) != found.path.npos) return read;
    found.path.replace(dot, found.path.npos, u".tlb");
    return readFile(found.path, found);
}

}  // namespace zlk::platform
