#include "tests/support/Modules.h"

#include <gtest/gtest.h>

namespace zlk::test {

LoadedModule::LoadedModule(const fs::path& path) : handle_(LoadLibraryW(pathText(path).c_str())) {
    EXPECT_TRUE(handle_) << path << ": " << GetLastError();
}

int registerModules(const fs::path& folder) {
    int registered = 0;
    std::error_code none;  // no folder: no modules
    for (const auto& entry : fs::directory_iterator(folder, none)) {
        if (entry.path().extension() != ".so") continue;
        const LoadedModule module(entry.path());
        if (!GetProcAddress(module.get(), "DllRegisterServer")) continue;
        EXPECT_EQ(module.call("DllRegisterServer"), S_OK) << entry.path();
        ++registered;
    }
    return registered;
}

bool isLoaded(const std::filesystem::path& path) {
    LoadedModule module(path);
    void* const entry = GetProcAddress(module.get(), "DllCanUnloadNow");
    EXPECT_TRUE(entry);
    module.release();
    return moduleFromAddress(entry) != nullptr;
}

}  // namespace zlk::test
