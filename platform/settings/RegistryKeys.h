#pragma once
// The open keys of this process and their content: the store's own keys, joined with those of the
// RegistryBackdrop of their root. HKEY_CLASSES_ROOT has the installed classes as its backdrop, and
// HKEY_LOCAL_MACHINE the attached devices.
//
// One lock guards everything, the store included. While it is held, SQLite takes locks of its own,
// and the driver takes those of its list of devices; lines for the diagnostics wait until the lock
// is free. Before a fork, the lock is taken and the connection is closed, because the child
// wouldn't inherit the file locks on which the connection relies.

#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <unordered_map>

#include "platform/base/Diagnose.h"
#include "platform/settings/DeviceKeys.h"
#include "platform/settings/InstalledClasses.h"
#include "platform/settings/RegistryStore.h"
#include "platform/settings/RegistryTypes.h"

namespace zlk::platform {

class RegistryKeys {
  public:
    /// The key that an HKEY stands for.
    struct OpenKey {
        HKEY root;
        RegistryPath path;         // empty for the root itself
        DWORD access;              // KEY_ rights; only KEY_SET_VALUE counts
        std::int64_t own;          // number in the store; 0 for a key that only the backdrop has
        std::uint64_t generation;  // the store's, for which `own` is valid
    };

    /// The content of an open key, for the length of one call and under the lock.
    class View {
      public:
        /// All values, or all subkeys: the store's own joined with the backdrop's.
        const RegistryValues& values();
        const RegistryNames& subKeys();
        /// The value with its data; null if there is none.
        const RegistryValue* value(const std::u16string& folded);

      private:
        friend class RegistryKeys;
        View(RegistryStore& store, OpenKey& key, std::shared_ptr<const RegistryContent> behind)
            : store_(store), key_(key), behind_(std::move(behind)) {}
        RegistryStore& store_;
        OpenKey& key_;
        std::shared_ptr<const RegistryContent> behind_;  // the backdrop's part; null: none
        std::optional<RegistryValues> joinedValues_;
        std::optional<RegistryNames> joinedNames_;
        std::optional<RegistryValue> large_;  // a value that isn't kept at hand, read for value()
    };

    /// Runs the body of a call under the lock. An exception of the body becomes the call's result;
    /// without one the result is ERROR_SUCCESS.
    template <class Body>
    static LSTATUS run(Body&& body) noexcept {
        const DiagnosticDelay delay;
        try {
            RegistryKeys& keys = instance();
            const std::lock_guard guard(keys.lock_);
            body(keys);
            return ERROR_SUCCESS;
        } catch (const RegistryFailure& failure) {
            return static_cast<LSTATUS>(failure.code);
        } catch (const std::bad_alloc&) {
            return ERROR_NOT_ENOUGH_MEMORY;
        } catch (...) {
            return ERROR_GEN_FAILURE;
        }
    }

    RegistryKeys();

    /// The bodies of the public calls, under the lock. All throw RegistryFailure.
    HKEY open(HKEY parent, const WCHAR* subKey, DWORD access);
    HKEY create(HKEY parent, const WCHAR* subKey, DWORD access, bool& made);
    void close(HKEY key);
    View view(HKEY key);
    /// With `anew` the value is stored as a new one, after the key's other values in the store.
    void setValue(HKEY key, const RegistryName& name, DWORD type, std::span<const BYTE> data,
                  bool anew);
    void deleteValue(HKEY key, const RegistryName& name);
    void deleteTree(HKEY key, const WCHAR* subKey);
    void saveClasses(const std::string& path);

  private:
    static RegistryKeys& instance();
    /// The open key of a handle. Throws ERROR_INVALID_HANDLE, or for a root ERROR_ACCESS_DENIED if
    /// the machine root can't be used.
    OpenKey& find(HKEY key);
    /// As find(). Also throws ERROR_ACCESS_DENIED for a handle without KEY_SET_VALUE.
    OpenKey& findForWriting(HKEY key);
    /// The backdrop's content of the key at `path`; null if the backdrop has no such key.
    std::shared_ptr<const RegistryContent> behind(HKEY root, const RegistryPath& path);
    /// Brings the store up to date, and `key` with it, since another process may have made or
    /// deleted the key. Throws ERROR_KEY_DELETED if neither the store nor the backdrop has the key
    /// any more. `lookForFile`: as in RegistryStore::refresh.
    View locate(OpenKey& key, bool lookForFile);
    /// Follows a path in the store from a key's number; 0 if a key on it is missing.
    std::int64_t descend(std::int64_t key, std::span<const RegistryName> path);
    HKEY add(HKEY root, RegistryPath path, DWORD access, std::int64_t own);
    /// Whether the backdrop has the key at `path`. A child of `parent` is looked for in `seen`, the
    /// parent's content, which was just read.
    bool isBehind(const OpenKey& parent, const View& seen, const RegistryPath& path);
    /// Opens a key that the store or the backdrop has; null if neither does. Throws
    /// ERROR_ACCESS_DENIED for access that includes writing if the store can't be written.
    HKEY openExisting(OpenKey& parent, const View& seen, const RegistryPath& path, DWORD access);

    std::mutex lock_;
    RegistryStore store_;
    InstalledClasses classes_;
    std::unique_ptr<RegistryBackdrop> devices_ = makeDeviceKeys();
    OpenKey classesRoot_, localMachine_;
    std::unordered_map<std::uintptr_t, OpenKey> keys_;
    // The number of the key handle that was given last. Numbers lie above those of the roots, and
    // none is used twice.
    std::uintptr_t last_ = 0x1'0000'0000;
};

}  // namespace zlk::platform
