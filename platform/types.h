#pragma once
// The integer, handle and identifier types that the calls of this folder take. The integers have
// the same widths on every machine and in every build, because processes share them in memory,
// files and registry values: none of them may depend on how wide `long` is.

#include <cstddef>
#include <cstdint>
#include <cstring>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using SHORT = std::int16_t;
using LONG = std::int32_t;
using BOOL = std::int32_t;     ///< 0 is false, anything else true
using WCHAR = char16_t;        ///< one UTF-16 unit
using HRESULT = std::int32_t;  ///< negative: failure; 0 and positive: success
using LSTATUS = std::int32_t;  ///< an ERROR_ value as a result

/// A token for something that the platform keeps for this process, such as a file or a mutex. It is
/// never dereferenced, its value is never used a second time, and a stale one is refused with
/// ERROR_INVALID_HANDLE.
using HANDLE = void*;
/// What the calls of files.h return on failure; all other calls that give a HANDLE return null.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

/// Tokens for a loaded module, a resource of a module, and an open key of the settings store;
/// callers pass them back and never look inside.
using HMODULE = struct LoadedModule*;
using HRSRC = const struct ModuleResource*;
using HKEY = struct RegistryKeyToken*;

/// A 64-bit size or offset in bytes.
struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

/// A moment as the number of 100 ns units since 1601-01-01 00:00 UTC, in two halves.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// A broken-down time. Months and days count from 1; wDayOfWeek 0 is Sunday.
struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

/// Never defined: callers pass null, because nothing here has access rights beyond those of files.
struct SECURITY_ATTRIBUTES;

/// A 128-bit identifier of a class, an interface or a type library, with its numbers in the byte
/// order of this machine.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend bool operator==(const GUID& a, const GUID& b) noexcept {
        return std::memcmp(&a, &b, sizeof(GUID)) == 0;
    }
};

static_assert(sizeof(GUID) == 16);
static_assert(sizeof(FILETIME) == 8);
static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(LARGE_INTEGER) == 8);

/// A wait or a time-out without a limit.
inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD MAX_PATH = 260;  ///< units of a path buffer, terminator included
