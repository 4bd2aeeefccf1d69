#pragma once
// The open keys of this process, and what stands in them: the store's own keys joined with the
// backdrop of their root, if it has one.
//
// One lock guards everything, the store included. Below it lie only SQLite's own locks; the
// diagnostics wait until it is free. A fork waits for it and closes the connection first: parent
// and child with one connection would take each other's locks away.

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
    struct OpenKey {
        HKEY root;
        RegistryPath path;  // empty for the root itself
        DWORD access;
        std::int64_t own;  // in the store; 0 for a key that only the backdrop has
        std::uint64_t generation;
    };

    /// What an open key holds, for the length of one call.
    class View {
      public:
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
        std::shared_ptr<const RegistryContent> behind_;
        std::optional<RegistryValues> joinedValues_;
        std::optional<RegistryNames> joinedNames_;
        std::optional<RegistryValue> large_;
    };

    /// Runs the body of a call under the lock; what it throws becomes the call's result.
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

    // All throw RegistryFailure.
    HKEY open(HKEY parent, const WCHAR* subKey, DWORD access);
    HKEY create(HKEY parent, const WCHAR* subKey, DWORD access, bool& made);
    void close(HKEY key);
    View view(HKEY key);
    /// `anew`: as one that wasn't there before.
    void setValue(HKEY key, const RegistryName& name, DWORD type, std::span<const BYTE> data,
                  bool anew);
    void deleteValue(HKEY key, const RegistryName& name);
    void deleteTree(HKEY key, const WCHAR* subKey);
    void saveClasses(const std::string& path);

  private:
    static RegistryKeys& instance();
    OpenKey& find(HKEY key);
    OpenKey& findForWriting(HKEY key);
    /// What stands behind the store at this path; null if nothing does.
    std::shared_ptr<const RegistryContent> behind(HKEY root, const RegistryPath& path);
    /// Looks anew at the store and makes sure that the key is still there.
    View locate(OpenKey& key, bool lookForFile);
    std::int64_t descend(std::int64_t key, std::span<const RegistryName> path);
    HKEY add(HKEY root, RegistryPath path, DWORD access, std::int64_t own);
    /// Whether the backdrop has this key, by what is seen of the parent where that tells it.
    bool isBehind(const OpenKey& parent, const View& seen, const RegistryPath& path);
    /// Null if there is no such key.
    HKEY openExisting(OpenKey& parent, const View& seen, const RegistryPath& path, DWORD access);

    std::mutex lock_;
    RegistryStore store_;
    InstalledClasses classes_;
    std::unique_ptr<RegistryBackdrop> devices_ = makeDeviceKeys();
    OpenKey classesRoot_, localMachine_;
    std::unordered_map<std::uintptr_t, OpenKey> keys_;
    // Above the roots, and never used twice.
    std::uintptr_t last_ = 0x1'0000'0000;
};

}  // namespace zlk::platform
