#pragma once
// The settings store: a tree of keys with named, typed values, shared by all processes of a
// machine. Keys and value names ignore case and keep the spelling of their making. Subkeys
// enumerate in case-insensitive order, values in the order in which they were made.
//
// HKEY_LOCAL_MACHINE lives in the machine's own store. HKEY_CLASSES_ROOT lives there too, with
// the classes of the installed modules read-only behind it: what the user's store has wins, and
// what only the installed store has can be read and not deleted.
//
// Results are ERROR_ values and not last errors: ERROR_SUCCESS, ERROR_FILE_NOT_FOUND (no such key
// or value), ERROR_ACCESS_DENIED (a store that can't be written, or one that others may write),
// ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER, ERROR_MORE_DATA (the buffer is too small),
// ERROR_NO_MORE_ITEMS, ERROR_KEY_DELETED (the key went away under its handle), ERROR_BADDB (the
// store can't be read as one), ERROR_BUSY (another writer held it for five seconds),
// ERROR_DISK_FULL, ERROR_IO_DEVICE, ERROR_NOT_ENOUGH_MEMORY.
//
// A write that returns success outlives the death of the process. Every call may come from any
// thread; a handle belongs to this process.

#include "platform/error.h"
#include "platform/types.h"

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(std::uintptr_t{0x80000000});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});

inline constexpr DWORD KEY_QUERY_VALUE = 0x00001;
inline constexpr DWORD KEY_SET_VALUE = 0x00002;
inline constexpr DWORD KEY_CREATE_SUB_KEY = 0x00004;
inline constexpr DWORD KEY_ENUMERATE_SUB_KEYS = 0x00008;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_WRITE = 0x20006;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;  ///< UTF-16 text, terminator included in its size
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

#pragma GCC visibility push(default)

/// Opens `subKey` (components split by `\`; null or empty: the key itself again) of `key`. A
/// handle opened without KEY_SET_VALUE refuses writes with ERROR_ACCESS_DENIED. An empty
/// component is ERROR_FILE_NOT_FOUND. `options` is 0. On failure *result is null. A key of a store
/// that the caller may not write opens for reading only; that holds for RegCreateKeyExW too.
LSTATUS RegOpenKeyExW(HKEY key, const WCHAR* subKey, DWORD options, DWORD access,
                      HKEY* result) noexcept;

/// Opens the key, making it and all that is missing above it. At most 255 units a component, 512
/// levels, or ERROR_INVALID_PARAMETER. `key` may have been opened for reading only: who may make
/// keys is a matter of the store. *disposition (may be null) tells which happened. `reserved`
/// is 0, `className` null.
LSTATUS RegCreateKeyExW(HKEY key, const WCHAR* subKey, DWORD reserved, WCHAR* className,
                        DWORD options, DWORD access, const SECURITY_ATTRIBUTES* security,
                        HKEY* result, DWORD* disposition) noexcept;

/// Reads a value (null or empty name: the key's default value). *size holds the room in bytes
/// and receives the size of the value, also with ERROR_MORE_DATA or with `data` null. `reserved`
/// is null; `type`, `data` and `size` may be null, `size` only with `data`. Each call sees one
/// whole value, the old or the new one.
LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept;

/// Sets a value; `size` is at most 1 MiB, the name 16,383 units. The bytes are kept with their type
/// as they are.
LSTATUS RegSetValueExW(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) noexcept;

/// Sets a value as one that is made only now: it enumerates last, its name in this spelling. Where
/// there was one, it is at no moment missing.
LSTATUS setValueAnew(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                     DWORD size) noexcept;

LSTATUS RegDeleteValueW(HKEY key, const WCHAR* name) noexcept;

/// Deletes `subKey`, which must name one, with all that lies below it, in one step.
LSTATUS RegDeleteTreeW(HKEY key, const WCHAR* subKey) noexcept;

/// The name of the subkey, or of the value, at `index`. *length holds the room in units,
/// terminator included, and receives the units without it; a longer name is ERROR_MORE_DATA. The
/// unused arguments must be null, but for the type and data of RegEnumValueW, which are as in
/// RegQueryValueExW.
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      WCHAR* className, DWORD* classLength, FILETIME* lastWrite) noexcept;
LSTATUS RegEnumValueW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      DWORD* type, BYTE* data, DWORD* size) noexcept;

/// Counts; any out argument may be null, `maxSubKeyLength` and `maxValueNameLength` are units
/// without terminator. The arguments for class, security and time must be null.
LSTATUS RegQueryInfoKeyW(HKEY key, WCHAR* className, DWORD* classLength, DWORD* reserved,
                         DWORD* subKeys, DWORD* maxSubKeyLength, DWORD* maxClassLength,
                         DWORD* values, DWORD* maxValueNameLength, DWORD* maxValueSize,
                         DWORD* securitySize, FILETIME* lastWrite) noexcept;

/// Closing a root handle does nothing and succeeds.
LSTATUS RegCloseKey(HKEY key) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// A key handle with an owner.
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
