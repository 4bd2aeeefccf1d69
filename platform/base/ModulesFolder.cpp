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
    // An empty text would lead to files at the root, and a folder that doesn't exist has no module.
    return library.empty() ? "/nonexistent" : library.parent_path() / "zlkcamtr";
}

}  // namespace zlk::platform
