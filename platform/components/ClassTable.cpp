#include "platform/components/ClassTable.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <new>

#include "platform/clock.h"
#include "platform/immortal.h"
#include "platform/registry.h"

namespace zlk::platform {
namespace {

constexpr DWORD graceTicks = 10'000;  // ms

HRESULT modulePathOf(const GUID& clsid, std::u16string& path) {
    const HRESULT read = readClassText(u"CLSID\\" + guidText(clsid) + u"\\InprocServer32",
                                       REGDB_E_CLASSNOTREG, path);
    return read == S_OK && path.empty() ? REGDB_E_CLASSNOTREG : read;
}

LSTATUS readText(const std::u16string& key, std::u16string& text) {
    // Rooms in units. Nearly all texts fit into the usual one, and then one read is enough.
    constexpr std::size_t usual = 260, longest = 32768;
    constexpr auto none = static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
    HKEY opened = nullptr;
    text.clear();
    if (const LSTATUS status =
            RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_QUERY_VALUE, &opened))
        return status;
    const RegistryKey owner(opened);
    DWORD type = REG_NONE, size = 0;
    auto status = static_cast<LSTATUS>(ERROR_MORE_DATA);
    for (const std::size_t room : {usual, longest}) {
        if (status != static_cast<LSTATUS>(ERROR_MORE_DATA)) break;
        text.resize(room);
        size = static_cast<DWORD>(room * sizeof(WCHAR));
        status = RegQueryValueExW(opened, nullptr, nullptr, &type,
                                  reinterpret_cast<BYTE*>(text.data()), &size);
    }
    if (status == static_cast<LSTATUS>(ERROR_MORE_DATA)) status = none;
    if (status == 0 && type != REG_SZ) status = none;
    text.resize(status == 0 ? size / sizeof(WCHAR) : 0);
    text.resize(std::min(text.find(u'\0'), text.size()));
    return status;
}

}  // namespace

HRESULT resultOfLoading(HRESULT notLoaded) noexcept {
    switch (const DWORD error = GetLastError()) {
        case ERROR_NOT_ENOUGH_MEMORY:
            return E_OUTOFMEMORY;
        case ERROR_TOO_MANY_OPEN_FILES:
            return HRESULT_FROM_WIN32(error);
        default:
            return notLoaded;
    }
}

HRESULT readClassText(const std::u16string& key, HRESULT none, std::u16string& text) {
    const LSTATUS status = readText(key, text);
    if (status == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND)) return none;
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

std::u16string guidText(const GUID& id) {
    WCHAR text[40];
    StringFromGUID2(id, text, 40);
    return text;
}

LoadedClass::LoadedClass(HMODULE module) noexcept
    : module_(module),
      canUnloadNow_(
          reinterpret_cast<HRESULT (*)() noexcept>(GetProcAddress(module, "DllCanUnloadNow"))) {}

LoadedClass::~LoadedClass() {
    factory_.reset();
    FreeLibrary(module_);
}

HRESULT LoadedClass::load(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded) {
    std::u16string path;
    if (const HRESULT found = modulePathOf(clsid, path); FAILED(found)) return found;
    const HMODULE module = LoadLibraryW(path.c_str());
    if (!module) return resultOfLoading(CO_E_DLLNOTFOUND);
    std::shared_ptr<LoadedClass> made;
    try {
        made = std::make_shared<LoadedClass>(module);
    } catch (...) {
        FreeLibrary(module);
        throw;
    }
    using GetClassObject = HRESULT (*)(const GUID&, const GUID&, void**) noexcept;
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(GetProcAddress(module, "DllGetClassObject"));
    if (!getClassObject) return CO_E_ERRORINDLL;
    const HRESULT got =
        getClassObject(clsid, iidOf<IClassFactory>, reinterpret_cast<void**>(made->factory_.out()));
    if (FAILED(got)) {
        made->factory_.detach();  // a failing call may leave anything there
        return got;
    }
    if (!made->factory_) return CO_E_ERRORINDLL;
    loaded = std::move(made);
    return S_OK;
}

void LoadedClass::noteUse() noexcept {
    const std::thread::id me = std::this_thread::get_id();
    // user_ is read first, because the exchange is needed only when another thread comes.
    if (user_.load(std::memory_order_relaxed) != me && user_.exchange(me) != std::thread::id())
        usedByOthers_ = true;
    used_.store(true, std::memory_order_relaxed);
}

bool LoadedClass::mayUnload() noexcept {
    const bool idle = canUnloadNow_ && canUnloadNow_() == S_OK;
    if (idle && user_ == std::this_thread::get_id() && !usedByOthers_) return true;
    // The time counts only while each call finds the module idle and no object is made between two
    // calls.
    const bool used = used_.exchange(false);
    const bool stillIdle = idle && idle_ && !used;
    idle_ = idle;
    if (!stillIdle) idleSince_ = GetTickCount();
    return stillIdle && GetTickCount() - idleSince_ >= graceTicks;
}

ClassTable& ClassTable::instance() {
    static Immortal<ClassTable> table;
    return *table;
}

// A fork waits for the lock, so that no other thread is changing the table at that moment: the
// child would get it half changed.
ClassTable::ClassTable() {
    pthread_atfork([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                   // In the child the thread has another id than when it took the lock, and so
                   // can't unlock it. The lock is made anew.
                   [] { ::new (&instance().mutex_) std::shared_mutex; });
}

HRESULT ClassTable::find(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded) {
    {
        const std::shared_lock lock(mutex_);
        if (const auto known = classes_.find(clsid); known != classes_.end()) {
            loaded = known->second;
            loaded->noteUse();
            return S_OK;
        }
    }
    std::shared_ptr<LoadedClass> made;
    if (const HRESULT result = LoadedClass::load(clsid, made); FAILED(result)) return result;
    // Two threads may have loaded the class at once. The entry that was added first stays. The
    // second entry has made no object yet, and ends with `made`, after the lock is released.
    const std::unique_lock lock(mutex_);
    loaded = classes_.try_emplace(clsid, made).first->second;
    loaded->noteUse();
    return S_OK;
}

void ClassTable::freeUnused() noexcept {
    Classes dropped;  // ends after the lock: unloading runs code of modules
    const std::unique_lock lock(mutex_);
    for (auto next = classes_.begin(); next != classes_.end();) {
        const auto entry = next++;
        if (entry->second.use_count() != 1) continue;
        // A use count of 1 means that every call that used the entry has made its object and
        // dropped its reference. Copying and dropping a reference here orders us after those calls,
        // so that what they did to the module's count is visible.
        std::shared_ptr(entry->second).reset();
        if (entry->second->mayUnload()) dropped.insert(classes_.extract(entry));
    }
}

}  // namespace zlk::platform
