#pragma once
// The component modules of the build, for tests that work with real siblings.

#include <filesystem>

namespace zlk::test {

/// Registers every module of `folder` that registers classes, on this process's machine. Fails
/// the test where one doesn't load or doesn't register. Returns how many there were.
int registerModules(const std::filesystem::path& folder);

/// Takes all registered classes away again.
void unregisterModules();

#ifdef ZLK_MODULE_DIR
/// The modules of this build.
inline int registerModules() {
    return registerModules(ZLK_MODULE_DIR);
}
#endif

}  // namespace zlk::test
