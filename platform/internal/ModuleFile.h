#pragma once
// From the name of a module to the file that is loaded, and whether that file may be.

#include <string>
#include <string_view>

namespace zlk::platform {

/// The folder `zlkcamtr` beside this library, where modules stand that are asked for by a bare
/// name.
std::string modulesFolder();

/// The real path of the module file that `name` stands for (see LoadLibraryW); empty, with
/// ERROR_MOD_NOT_FOUND, where there is no such file.
std::string findModuleFile(std::u16string_view name);

/// Whether the file holds all that its headers say is to be mapped; false with ERROR_MOD_NOT_FOUND.
/// The loader doesn't ask, and a module that was copied halfway would end this process.
bool isWholeModule(const std::string& path);

/// Whether nobody but root and the caller may write the file or put another one in its place;
/// false with ERROR_ACCESS_DENIED. A group's right to write counts against it, also where the
/// caller is the group's only member: who else joins it is decided elsewhere and later. Only the
/// group of a group's root is trusted: it says which modules there are.
bool trustsModuleFile(const std::string& path);

}  // namespace zlk::platform
