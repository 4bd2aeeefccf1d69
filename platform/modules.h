#pragma once
// Loaded modules and the resources inside them.
//
// A resource is an ELF note of the module, made by the build (cmake/Resources.cmake), and is found
// without an exported symbol. A module that somebody other than root and the caller may write, or
// put another one in the place of, is refused: whoever does that runs code in this process. All
// folders on the way to it count; a folder as /tmp, sticky, may be above it.

#include "platform/error.h"
#include "platform/types.h"

inline constexpr WORD RT_STRING = 6;  ///< blocks of 16 counted UTF-16 texts, ids from 1

#pragma GCC visibility push(default)

/// Loads a module. `path` may be any path of files.h; a bare name is looked for beside this
/// library's own modules and nowhere else. A name that ends in `.dll` in any case stands for the
/// file with `.so` in its place, in lower case if the exact one isn't there. Each load counts.
/// Null with ERROR_MOD_NOT_FOUND (no such file, or one that doesn't load), ERROR_ACCESS_DENIED
/// (others may change it; the diagnostics name what) or ERROR_TOO_MANY_OPEN_FILES.
HMODULE LoadLibraryW(const WCHAR* path) noexcept;
BOOL FreeLibrary(HMODULE module) noexcept;

/// Null with ERROR_PROC_NOT_FOUND.
void* GetProcAddress(HMODULE module, const char* name) noexcept;

/// The module that holds `address`, without another count; null with ERROR_MOD_NOT_FOUND.
HMODULE moduleFromAddress(const void* address) noexcept;

/// The module's full path (`/...`). Result: units without the terminator; `room` with
/// ERROR_INSUFFICIENT_BUFFER if it was cut; 0 on failure.
DWORD GetModuleFileNameW(HMODULE module, WCHAR* buffer, DWORD room) noexcept;

/// A resource by number and type: a type by name ("REGISTRY", "TYPELIB") or, for string tables,
/// RT_STRING. Null with ERROR_RESOURCE_NOT_FOUND. The record and its bytes live as long as the
/// module is loaded.
HRSRC FindResourceW(HMODULE module, WORD id, const WCHAR* type) noexcept;
HRSRC FindResourceW(HMODULE module, WORD id, WORD type) noexcept;
const void* LoadResource(HMODULE module, HRSRC resource) noexcept;
DWORD SizeofResource(HMODULE module, HRSRC resource) noexcept;

#pragma GCC visibility pop
