#pragma once
// The integer, handle and identifier types of the calls in this folder. Widths are those of the
// binary contract on every machine: what two processes share must not depend on `long`.

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
using BOOL = std::int32_t;  ///< 0 is false, anything else true
using WCHAR = char16_t;     ///< one UTF-16 unit
using HRESULT = std::int32_t;
using LSTATUS = std::int32_t;  ///< an ERROR_ value as a result

/// Something the system keeps for this process: a file, a mutex, a section. Only a token: it is
/// never dereferenced, and a stale one is refused with ERROR_INVALID_HANDLE.
using HANDLE = void*;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

using HMODULE = struct LoadedModule*;
using HRSRC = const struct ModuleResource*;
using HKEY = struct RegistryKeyToken*;

struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

/// 100 ns units since 1601-01-01 00:00 UTC, in two halves.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// A broken-down time; wDayOfWeek 0 is Sunday.
struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

/// Callers pass null: the only access lists here are "everybody" and "nobody else", and the
/// machine root decides between them.
struct SECURITY_ATTRIBUTES;

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

/// A wait or a time-out without limit.
inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD MAX_PATH = 260;  ///< units of a path buffer, terminator included
