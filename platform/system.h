#pragma once
// What version of the operating system callers are to assume, and two small services that they use.
// Every call may come from any thread.

#include "platform/types.h"

inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;

/// The version of the system; szCSDVersion is always empty.
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

/// Reports the version NT 5.1, or 6.0 where the text value `SystemVersion` of the key
/// `Software\Zephyr-Lanthorn\Platform` (below HKEY_LOCAL_MACHINE) is "6.0". The callers choose by
/// this version which of two driver families drives the cameras. 0 with ERROR_INSUFFICIENT_BUFFER
/// if `info` is null or its size field is wrong.
BOOL GetVersionExW(OSVERSIONINFOW* info) noexcept;

/// Computes number * numerator / denominator in 64 bits, rounded to the nearest whole number,
/// halves away from zero. -1 for a denominator of 0 or a result beyond 32 bits.
int MulDiv(int number, int numerator, int denominator) noexcept;

inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;

/// Writes caption and text to standard error as one line, because there is no desktop here that
/// could show a box, and returns IDOK without waiting for a user.
int MessageBoxW(void* owner, const WCHAR* text, const WCHAR* caption, UINT type) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// Whether GetVersionExW reports a system of the NT family with at least this major version.
inline bool isNtFamily(unsigned leastMajorVersion = 0) noexcept {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           info.dwMajorVersion >= leastMajorVersion;
}

/// Whether the settings name Vista or a later system. If so, the second driver family drives the
/// cameras: applications reach them by device paths, and processes take turns on them by other
/// named objects.
inline bool isVistaOrLater() noexcept {
    return isNtFamily(6);
}

}  // namespace zlk
