#include "platform/base/ModulesFolder.h"

#include <dlfcn.h>

#include <filesystem>

namespace zlk::platform {

std::string modulesFolder() {
    Dl_info self;
    std::error_code error;
    std::filesystem::path library;
    if (::dladdr(reinterpret_cast<const void*>(&modulesFolder), &self))
        library = std::filesystem::canonical(self.dli_fname, error);
    // With an empty text, callers would look for modules in the root folder.
    return library.empty() ? "/nonexistent" : library.parent_path() / "zlkcamtr";
}

}  // namespace zlk::platform
