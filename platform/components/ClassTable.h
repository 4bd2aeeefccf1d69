#pragma once
// The component classes that this process has loaded.
//
// Finding a class that is in the table costs a look-up under a shared lock. The table isn't locked
// while the registry is read or while a module's code runs, so that a module may make objects of
// other classes, or of its own, from anywhere: its factory, a constructor, its static
// initialization. The one exception is DllCanUnloadNow, which is expected only to read a count. As
// long as the table is locked, nobody can get the class to make an object, so the function's answer
// still holds when the entry is removed.
//
// An entry keeps its module loaded, with a load of its own for each class. A call that is just
// making an object shares the entry with the table: the object isn't in the module's count yet, so
// an entry that a call shares stays.
//
// At the end of an object's life, its last Release runs some instructions of the module after the
// count has dropped. That doesn't matter to a caller of CoFreeUnusedLibraries that made all objects
// itself, because objects are used on the thread that made them. If other threads made objects, the
// module is unloaded only after calls have found it idle for ten seconds, and no object was made in
// that time.

#include <atomic>
#include <map>
#include <memory>
#include <shared_mutex>
#include <thread>

#include "platform/component.h"
#include "platform/modules.h"

namespace zlk::platform {

/// A class's factory and the module that it is in.
class LoadedClass {
  public:
    /// Loads the module of a class and gets the class's factory. A failure's result is the one that
    /// CoCreateInstance returns. Throws std::bad_alloc.
    static HRESULT load(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);

    /// Takes over one load of the module.
    explicit LoadedClass(HMODULE module) noexcept;
    ~LoadedClass();
    LoadedClass(const LoadedClass&) = delete;
    LoadedClass& operator=(const LoadedClass&) = delete;

    IClassFactory& factory() const noexcept { return *factory_.get(); }

    /// Notes that the calling thread makes an object. Called with the table locked, shared or not.
    void noteUse() noexcept;
    /// Whether the module may be unloaded now, as far as this class is concerned. Notes for the
    /// next call whether the module is idle. Called with the table locked exclusively.
    bool mayUnload() noexcept;

  private:
    HMODULE module_;
    // DllCanUnloadNow; null if the module has none. It is looked up while the table isn't locked:
    // the look-up takes the dynamic loader's lock, and a thread that holds the loader's lock may be
    // waiting for the table's.
    HRESULT (*canUnloadNow_)() noexcept;
    ComPtr<IClassFactory> factory_;
    std::atomic<std::thread::id> user_;       ///< the thread that made an object last
    std::atomic<bool> usedByOthers_ = false;  ///< more than one thread has made objects
    std::atomic<bool> used_ = false;          ///< an object was made since the last mayUnload()
    bool idle_ = false;                       ///< the module was idle at the last mayUnload()
    DWORD idleSince_ = 0;                     ///< tick count; valid while idle_
};

class ClassTable {
  public:
    static ClassTable& instance();
    ClassTable();

    /// Gives the class, which is loaded if it isn't in the table yet, and notes that the calling
    /// thread is about to make an object of it. A failure's result is the one that CoCreateInstance
    /// returns. Throws std::bad_alloc.
    HRESULT find(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);
    /// The body of CoFreeUnusedLibraries.
    void freeUnused() noexcept;

  private:
    struct Order {
        bool operator()(const GUID& a, const GUID& b) const noexcept {
            return std::memcmp(&a, &b, sizeof(GUID)) < 0;
        }
    };
    // A tree, because moving an entry to another tree allocates no memory and can't fail.
    using Classes = std::map<GUID, std::shared_ptr<LoadedClass>, Order>;

    std::shared_mutex mutex_;
    Classes classes_;
};

/// Reads the default value of a key below HKEY_CLASSES_ROOT, up to its first zero. Returns `none`
/// for a key that isn't there, that has no text as its default value, or whose text is longer than
/// any path. If the registry can't be read, returns the HRESULT of its error.
HRESULT readClassText(const std::u16string& key, HRESULT none, std::u16string& text);

/// The result of a call that has just failed to load or open a module's file, by its last error:
/// E_OUTOFMEMORY, the HRESULT of ERROR_TOO_MANY_OPEN_FILES, or for any other error `notLoaded`.
HRESULT resultOfLoading(HRESULT notLoaded) noexcept;

/// The text of a class id with its braces.
std::u16string guidText(const GUID& id);

}  // namespace zlk::platform
