#pragma once
// Loading modules, and the resources inside them. Every call may come from any thread.
//
// A resource is an ELF note of the module, made by the build (cmake/Resources.cmake); it is found
// without an exported symbol. Code in a module runs with all the rights of this process, so a
// module is refused if somebody who isn't trusted may write it or put another file in its place.
// Root and the caller are trusted, and so is the group of a machine root that belongs to one.
// base/TrustedFile.h has the exact rules.

#include "platform/error.h"
#include "platform/types.h"

inline constexpr WORD RT_STRING = 6;  ///< blocks of 16 counted UTF-16 texts, ids from 1

#pragma GCC visibility push(default)

/// Loads a module; the caller ends each load with FreeLibrary, and the end of the last load unloads
/// the module. `path` is a file's path (files.h); a bare name is looked up only in the folder of
/// installed modules beside this library. Callers and settings use the names that modules have on
/// other systems: a name that ends in `.dll`, case ignored, stands for the file that ends in `.so`.
/// If there is none, the last component of the path is tried in lower case. Null, among others with
/// ERROR_MOD_NOT_FOUND (no such file, or one that doesn't load), ERROR_ACCESS_DENIED (others may
/// change it; the diagnostics name the file or folder) and ERROR_TOO_MANY_OPEN_FILES.
HMODULE LoadLibraryW(const WCHAR* path) noexcept;
/// Ends one load; 0 with ERROR_INVALID_HANDLE for a module that isn't loaded.
BOOL FreeLibrary(HMODULE module) noexcept;

/// The address of a function or object that the module itself exports, valid while the module is
/// loaded. Null with ERROR_PROC_NOT_FOUND.
void* GetProcAddress(HMODULE module, const char* name) noexcept;

/// The module that holds `address`. It isn't loaded once more, so no FreeLibrary may follow. Null
/// with ERROR_MOD_NOT_FOUND.
HMODULE moduleFromAddress(const void* address) noexcept;

/// Writes the path from which the module was loaded; it is a full one (`/...`) after LoadLibraryW.
/// `room` is in units. Returns the units without the terminator; `room` with
/// ERROR_INSUFFICIENT_BUFFER if the path was cut; 0 on failure.
DWORD GetModuleFileNameW(HMODULE module, WCHAR* buffer, DWORD room) noexcept;

/// Finds a resource by number and type: a type has a name ("REGISTRY", "TYPELIB"), or for string
/// tables the number RT_STRING. Null with ERROR_RESOURCE_NOT_FOUND. The resource and its bytes are
/// part of the module and valid while it is loaded.
HRSRC FindResourceW(HMODULE module, WORD id, const WCHAR* type) noexcept;
HRSRC FindResourceW(HMODULE module, WORD id, WORD type) noexcept;
/// The first byte of a resource, and its size in bytes; null and 0 for a null resource.
const void* LoadResource(HMODULE module, HRSRC resource) noexcept;
DWORD SizeofResource(HMODULE module, HRSRC resource) noexcept;

#pragma GCC visibility pop
