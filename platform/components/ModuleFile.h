#pragma once
// Finds the file of a module by the name that callers use, and checks that it is complete.

#include <string>
#include <string_view>

#include "platform/error.h"

namespace zlk::platform {

/// The absolute path of the module file that `name` stands for (see LoadLibraryW). The path may
/// contain symbolic links. Empty with ERROR_MOD_NOT_FOUND if no such regular file can be reached,
/// or with ERROR_TOO_MANY_OPEN_FILES.
std::string findModuleFile(std::u16string_view name);

/// Whether a file has all the bytes that its ELF headers want mapped; false with the errors of
/// findModuleFile. The dynamic loader doesn't check that: if a module was copied only in part,
/// SIGBUS would end this process at the first use of a missing page.
bool isWholeModule(const std::string& path);

/// Gives the path of a loaded module. A failure is the HRESULT of GetModuleFileNameW's last error.
HRESULT readModulePath(HMODULE module, std::u16string& path);

}  // namespace zlk::platform
