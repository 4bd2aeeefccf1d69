#pragma once
// The component classes that this process has loaded.
//
// A class that is in the table costs a look-up under a shared lock. No lock is held while the
// registry is read or code of a module runs, so that a module may make objects of other classes,
// or of its own, from wherever it is called: its factory, a constructor, its own loading.
//
// An entry keeps its module loaded, once for each class, and is shared between the table and the
// calls that are making an object from it. Unloading takes the entries out of the table, drops
// those that nobody uses and whose module says that it can go, and puts the others back. Whoever
// asks for a class meanwhile loads it once more, which makes an entry of its own; of two entries
// of a class one is dropped, and the module stays by the other's count.

#include <map>
#include <memory>
#include <shared_mutex>

#include "platform/component.h"
#include "platform/modules.h"

namespace zlk::platform {

/// A class's factory and the module that it is in.
class LoadedClass {
  public:
    /// Results as of CoCreateInstance.
    static HRESULT load(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);

    explicit LoadedClass(HMODULE module) noexcept;
    /// Unloads the module unless it says that it is in use: it then stays for good.
    ~LoadedClass();
    LoadedClass(const LoadedClass&) = delete;
    LoadedClass& operator=(const LoadedClass&) = delete;

    IClassFactory& factory() const noexcept { return *factory_.get(); }
    bool canUnload() const noexcept;

  private:
    HMODULE module_;
    ComPtr<IClassFactory> factory_;
};

class ClassTable {
  public:
    /// The table of this process.
    static ClassTable& instance();

    /// The class, loaded if it isn't yet. Results as of CoCreateInstance.
    HRESULT find(const GUID& clsid, std::shared_ptr<LoadedClass>& loaded);
    void freeUnused() noexcept;

  private:
    struct Order {
        bool operator()(const GUID& a, const GUID& b) const noexcept {
            return std::memcmp(&a, &b, sizeof(GUID)) < 0;
        }
    };
    // A tree: its entries go out and back in without memory, so unloading can't fail halfway.
    using Classes = std::map<GUID, std::shared_ptr<LoadedClass>, Order>;

    std::shared_mutex mutex_;
    Classes classes_;
};

/// The text of a value below HKEY_CLASSES_ROOT, up to its first zero; empty where there is none.
/// ERROR_FILE_NOT_FOUND also for a value that isn't a text, or is longer than any path.
LSTATUS readClassText(const std::u16string& key, std::u16string& text);

/// The text of a class id with its braces.
std::u16string guidText(const GUID& id);

}  // namespace zlk::platform
