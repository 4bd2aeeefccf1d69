#pragma once
// The component classes that this process has loaded.
//
// A class that is in the table costs a look-up under a shared lock. No lock is held while the
// registry is read or code of a module runs, so that a module may make objects of other classes,
// or of its own, from wherever it is called: its factory, a constructor, its own loading. The one
// exception is DllCanUnloadNow, which answers from a count: as long as the table is locked nobody
// can begin to make an object, so the answer still holds when the entry is taken out.
//
// An entry keeps its module loaded, once for each class, and is shared between the table and the
// calls that are making an object from it: such a call's object isn't in the module's count yet,
// so an entry that is in use stays. On the other end of an object's life its last Release leaves
// the module some instructions after the count has dropped. Objects belong to the thread that made
// them, so that is no matter to a caller who made them all. Where other threads did, a module goes
// only after it has been found idle, unused in between, for ten seconds.

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
    /// Results as of CoCreateInstance.
    static HRESULT load(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);

    explicit LoadedClass(HMODULE module) noexcept;
    ~LoadedClass();
    LoadedClass(const LoadedClass&) = delete;
    LoadedClass& operator=(const LoadedClass&) = delete;

    IClassFactory& factory() const noexcept { return *factory_.get(); }

    /// Before the calling thread makes an object, with the table locked, shared or not.
    void noteUse() noexcept;
    /// Whether the module may be unloaded now, as far as this class goes; with the table locked.
    bool mayUnload() noexcept;

  private:
    HMODULE module_;
    // Looked up when the module is loaded: a thread that holds the loader's own lock may be waiting
    // for the table's.
    HRESULT (*canUnloadNow_)() noexcept;
    ComPtr<IClassFactory> factory_;
    std::atomic<std::thread::id> user_;
    std::atomic<bool> usedByOthers_ = false;  ///< a thread other than user_ made an object
    std::atomic<bool> used_ = false;          ///< an object was made since the last mayUnload()
    bool idle_ = false;                       ///< the module was idle at the last mayUnload()
    DWORD idleSince_ = 0;
};

class ClassTable {
  public:
    /// The table of this process.
    static ClassTable& instance();
    ClassTable();

    /// The class, loaded if it isn't yet. Results as of CoCreateInstance.
    HRESULT find(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);
    void freeUnused() noexcept;

  private:
    struct Order {
        bool operator()(const GUID& a, const GUID& b) const noexcept {
            return std::memcmp(&a, &b, sizeof(GUID)) < 0;
        }
    };
    // A tree: taking an entry out of it needs no memory.
    using Classes = std::map<GUID, std::shared_ptr<LoadedClass>, Order>;

    std::shared_mutex mutex_;
    Classes classes_;
};

/// The default text of a key below HKEY_CLASSES_ROOT, up to its first zero. `none` for a key that
/// isn't there or has no such text, or one longer than any path; the HRESULT of a registry that
/// can't be read.
HRESULT readClassText(const std::u16string& key, HRESULT none, std::u16string& text);

/// What LoadLibraryW's last error makes of a call: `notLoaded` but for a want of memory or of
/// descriptors.
HRESULT resultOfLoading(HRESULT notLoaded) noexcept;

/// The text of a class id with its braces.
std::u16string guidText(const GUID& id);

}  // namespace zlk::platform
