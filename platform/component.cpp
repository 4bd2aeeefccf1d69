#include "platform/component.h"

#include <new>

#include "platform/components/ClassTable.h"

using namespace zlk::platform;

namespace {

/// Reads the default value of a subkey of a ProgID's key. CO_E_CLASSSTRING if there is none.
HRESULT readBelow(const std::u16string& progId, const WCHAR* key, std::u16string& text) {
    // A backslash in the ProgID would lead to another key.
    if (progId.empty() || progId.find(u'\\') != std::u16string::npos) return CO_E_CLASSSTRING;
    return readClassText(progId + u'\\' + key, CO_E_CLASSSTRING, text);
}

HRESULT readClassId(const std::u16string& progId, GUID& clsid) {
    std::u16string text;
    const HRESULT read = readBelow(progId, u"CLSID", text);
    return FAILED(read) ? read : CLSIDFromString(text.c_str(), &clsid);
}

// A ProgID without a version may name the current version's ProgID, which has the class id.
HRESULT findProgId(const std::u16string& progId, GUID& clsid) {
    if (const HRESULT found = readClassId(progId, clsid); found != CO_E_CLASSSTRING) return found;
    std::u16string current;
    const HRESULT read = readBelow(progId, u"CurVer", current);
    return FAILED(read) ? read : readClassId(current, clsid);
}

}  // namespace

HRESULT CLSIDFromProgID(const WCHAR* progId, GUID* clsid) noexcept {
    if (!clsid) return E_INVALIDARG;
    *clsid = {};
    try {
        return findProgId(progId ? progId : u"", *clsid);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CoCreateInstance(const GUID& clsid, IUnknown* outer, DWORD context, const GUID& iid,
                         void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(context & CLSCTX_INPROC_SERVER)) return REGDB_E_CLASSNOTREG;
    try {
        // Keeps the class loaded until the object is counted in its module.
        std::shared_ptr<LoadedClass> loaded;
        if (const HRESULT found = ClassTable::instance().find(clsid, loaded); FAILED(found))
            return found;
        const HRESULT made = loaded->factory().CreateInstance(outer, iid, object);
        if (FAILED(made)) *object = nullptr;
        return made;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

void CoFreeUnusedLibraries() noexcept {
    ClassTable::instance().freeUnused();
}
