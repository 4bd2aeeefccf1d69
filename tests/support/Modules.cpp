#include "tests/support/Modules.h"

#include <gtest/gtest.h>

#include "platform/component.h"
#include "platform/modules.h"
#include "platform/registry.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

int registerModules(const fs::path& folder) {
    int registered = 0;
    std::error_code none;  // no folder: no modules
    for (const auto& entry : fs::directory_iterator(folder, none)) {
        if (entry.path().extension() != ".so") continue;
        const HMODULE module = LoadLibraryW(pathText(entry.path()).c_str());
        EXPECT_TRUE(module) << entry.path() << ": " << GetLastError();
        if (!module) continue;
        using Register = HRESULT (*)();
        if (const auto install =
                reinterpret_cast<Register>(GetProcAddress(module, "DllRegisterServer"))) {
            EXPECT_EQ(install(), S_OK) << entry.path();
            ++registered;
        }
        FreeLibrary(module);
    }
    return registered;
}

}  // namespace zlk::test
