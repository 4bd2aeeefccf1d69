#pragma once
// From the name of a module to the file that is loaded.

#include <string>
#include <string_view>

namespace zlk::platform {

/// The absolute path of the module file that `name` stands for (see LoadLibraryW), which may lead
/// through links. Empty with ERROR_MOD_NOT_FOUND where there is no such file, or
/// ERROR_TOO_MANY_OPEN_FILES.
std::string findModuleFile(std::u16string_view name);

/// Whether the file holds all that its headers say is to be mapped; false with the same errors.
/// The loader doesn't ask, and a module that was copied halfway would end this process.
bool isWholeModule(const std::string& path);

}  // namespace zlk::platform
