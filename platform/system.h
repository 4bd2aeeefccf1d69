#pragma once
// What kind of system this is, and two leftovers that everybody calls.

#include "platform/types.h"

inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;  ///< set by the caller to sizeof(OSVERSIONINFOW)
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};
static_assert(sizeof(OSVERSIONINFOW) == 276);

#pragma GCC visibility push(default)

/// NT 5.1, or 6.0 where the value `SystemVersion` of the key `Software/Zephyr-Lanthorn/Platform`
/// (below HKEY_LOCAL_MACHINE) is the text "6.0": the version chooses how cameras are driven. 0
/// with ERROR_INSUFFICIENT_BUFFER where the size field is wrong.
BOOL GetVersionExW(OSVERSIONINFOW* info) noexcept;

/// number * numerator / denominator, computed in 64 bits and rounded to the nearest whole number,
/// halves away from zero. -1 for a denominator of 0 or a result beyond 32 bits.
int MulDiv(int number, int numerator, int denominator) noexcept;

inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;

/// There is no desktop behind this: caption and text go to standard error as one line, and the
/// answer is IDOK at once.
int MessageBoxW(void* owner, const WCHAR* text, const WCHAR* caption, UINT type) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// Whether this is a system of the NT family, of at least this major version. Asked anew each time.
inline bool isNtFamily(unsigned leastMajorVersion = 0) noexcept {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           info.dwMajorVersion >= leastMajorVersion;
}

/// Vista or later: cameras are reached by device paths, and the rights on named objects differ.
inline bool isVistaOrLater() noexcept {
    return isNtFamily(6);
}

}  // namespace zlk
