#include "platform/component.h"

#include <new>

#include "platform/internal/ClassTable.h"

using namespace zlk::platform;

namespace {

/// The class id in the default value of a key; false where there is no such text.
bool readClassId(const std::u16string& key, GUID& clsid) {
    std::u16string text;
    return readClassText(key, text) == 0 && CLSIDFromString(text.c_str(), &clsid) == S_OK;
}

bool findProgId(const std::u16string& progId, GUID& clsid) {
    // A separator would lead to some other key.
    if (progId.empty() || progId.find(u'\\') != std::u16string::npos) return false;
    if (readClassId(progId + u"\\CLSID", clsid)) return true;
    std::u16string current;
    return readClassText(progId + u"\\CurVer", current) == 0 && !current.empty() &&
           current.find(u'\\') == std::u16string::npos && readClassId(current + u"\\CLSID", clsid);
}

}  // namespace

HRESULT CLSIDFromProgID(const WCHAR* progId, GUID* clsid) noexcept {
    if (!clsid) return E_INVALIDARG;
    *clsid = {};
    try {
        return findProgId(progId ? progId : u"", *clsid) ? S_OK : CO_E_CLASSSTRING;
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
