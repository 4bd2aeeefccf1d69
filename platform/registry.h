#pragma once
// The settings store: a tree of keys with named, typed values, shared by all processes of a
// machine. Names of keys and values ignore case and keep the spelling with which they were made.
// Subkeys enumerate in case-insensitive order, the store's values in the order in which they were
// made.
//
// HKEY_LOCAL_MACHINE shows the machine's own store together with read-only keys for the attached
// cameras. HKEY_CLASSES_ROOT shows the machine's own store together with the classes of the
// installed modules. Of two values with one name, the store's counts. What only the cameras or the
// installed modules have can be read and not deleted.
//
// Results are ERROR_ values and not last errors, among others: ERROR_SUCCESS, ERROR_FILE_NOT_FOUND
// (no such key or value), ERROR_ACCESS_DENIED (the handle or the store doesn't allow it, or others
// may write the store), ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER, ERROR_MORE_DATA (the buffer
// is too small), ERROR_NO_MORE_ITEMS, ERROR_KEY_DELETED (the key of the handle was deleted),
// ERROR_BADDB (the file isn't a readable store), ERROR_BUSY (another writer held the store for five
// seconds), ERROR_DISK_FULL, ERROR_IO_DEVICE, ERROR_NOT_ENOUGH_MEMORY.
//
// A write that returned success is kept even if the process is killed right after. Every call may
// come from any thread.

#include "platform/error.h"
#include "platform/types.h"

/// The two roots. They are open in every process and need no closing.
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(std::uintptr_t{0x80000000});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});

// Rights for opening a key. Only KEY_SET_VALUE and KEY_CREATE_SUB_KEY make a difference here, and
// KEY_WRITE and KEY_ALL_ACCESS, which contain them; reading is always allowed.
inline constexpr DWORD KEY_QUERY_VALUE = 0x00001;
inline constexpr DWORD KEY_SET_VALUE = 0x00002;
inline constexpr DWORD KEY_CREATE_SUB_KEY = 0x00004;
inline constexpr DWORD KEY_ENUMERATE_SUB_KEYS = 0x00008;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_WRITE = 0x20006;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;

// Types of values. The store keeps the number and never interprets the bytes.
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;  ///< UTF-16 text, terminator included in its size
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

#pragma GCC visibility push(default)

/// Opens the key `subKey` below `key` (components separated by `\`; null or empty: `key` itself
/// again); the caller closes *result, which is null on failure. A handle opened without
/// KEY_SET_VALUE can't set or delete anything: ERROR_ACCESS_DENIED. If the caller may not write the
/// store, this call and RegCreateKeyExW refuse KEY_SET_VALUE and KEY_CREATE_SUB_KEY with
/// ERROR_ACCESS_DENIED. An empty component is ERROR_FILE_NOT_FOUND. `options` is 0.
LSTATUS RegOpenKeyExW(HKEY key, const WCHAR* subKey, DWORD options, DWORD access,
                      HKEY* result) noexcept;

/// Opens the key; if it is missing, makes it and all missing keys above it first, in one step.
/// ERROR_INVALID_PARAMETER for a component that is empty or has more than 255 units, and for a key
/// more than 512 levels deep. `key` may have been opened for reading only: the right to make keys
/// depends on the store and not on the handle. *disposition (may be null) receives
/// REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. `reserved` and `options` are 0, `className` and
/// `security` null.
LSTATUS RegCreateKeyExW(HKEY key, const WCHAR* subKey, DWORD reserved, WCHAR* className,
                        DWORD options, DWORD access, const SECURITY_ATTRIBUTES* security,
                        HKEY* result, DWORD* disposition) noexcept;

/// Reads a value (null or empty name: the key's default value). *size holds the room in bytes and
/// receives the size of the value, also with ERROR_MORE_DATA or with `data` null. `reserved` is
/// null; `type` and `data` may be null, and if `data` is, `size` too. Each call sees one whole
/// value, the old or the new one.
LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept;

/// Sets a value; `size` is at most 1 MiB and the name at most 16,383 units. The bytes are stored as
/// they are, with their type.
LSTATUS RegSetValueExW(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) noexcept;

/// Sets a value as if it were new: it becomes the last of the key's values in the store, and its
/// name gets this spelling. A reader sees the old value or the new one, and at no moment none.
LSTATUS setValueAnew(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                     DWORD size) noexcept;

/// Deletes a value from the machine's own store. ERROR_ACCESS_DENIED if only the installed modules
/// or the attached cameras have it.
LSTATUS RegDeleteValueW(HKEY key, const WCHAR* name) noexcept;

/// Deletes the key `subKey` and everything below it from the machine's own store, in one step.
/// ERROR_INVALID_PARAMETER if `subKey` is null or empty. ERROR_ACCESS_DENIED if only the installed
/// modules or the attached cameras have the key.
LSTATUS RegDeleteTreeW(HKEY key, const WCHAR* subKey) noexcept;

/// Gives the name of the subkey, or of the value, at `index`, counted from 0; ERROR_NO_MORE_ITEMS
/// after the last one. *length holds the room in units, terminator included. On success it receives
/// the name's length without the terminator. ERROR_MORE_DATA if the name needs more room. The type,
/// data and size of RegEnumValueW are as in RegQueryValueExW. `reserved`, `className`,
/// `classLength` and `lastWrite` must be null.
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      WCHAR* className, DWORD* classLength, FILETIME* lastWrite) noexcept;
LSTATUS RegEnumValueW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      DWORD* type, BYTE* data, DWORD* size) noexcept;

/// Counts the subkeys and values of a key, and finds their longest names and the largest value. Any
/// out argument may be null; `maxSubKeyLength` and `maxValueNameLength` are in units without
/// terminator, `maxValueSize` in bytes. The arguments for class, security and time, and `reserved`,
/// must be null.
LSTATUS RegQueryInfoKeyW(HKEY key, WCHAR* className, DWORD* classLength, DWORD* reserved,
                         DWORD* subKeys, DWORD* maxSubKeyLength, DWORD* maxClassLength,
                         DWORD* values, DWORD* maxValueNameLength, DWORD* maxValueSize,
                         DWORD* securitySize, FILETIME* lastWrite) noexcept;

/// Closes a key. Closing a root does nothing and succeeds.
LSTATUS RegCloseKey(HKEY key) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// Owns a key handle and closes it in its destructor.
class RegistryKey {
  public:
    RegistryKey() = default;
    explicit RegistryKey(HKEY key) noexcept : key_(key) {}
    RegistryKey(RegistryKey&& other) noexcept : key_(other.key_) { other.key_ = nullptr; }
    RegistryKey& operator=(RegistryKey&& other) noexcept {
        HKEY old = key_;
        key_ = other.key_;
        other.key_ = nullptr;
        if (old && old != key_) RegCloseKey(old);
        return *this;
    }
    ~RegistryKey() {
        if (key_) RegCloseKey(key_);
    }
    HKEY get() const noexcept { return key_; }
    explicit operator bool() const noexcept { return key_ != nullptr; }

  private:
    HKEY key_ = nullptr;
};

}  // namespace zlk
