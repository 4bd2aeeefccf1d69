#pragma once
// The component modules of the build, for tests that work with real siblings.

#include <filesystem>

#include "tests/support/TestMachine.h"

namespace zlk::test {

/// Registers every module of `folder` that registers classes, on this process's machine. Fails
/// the test where one doesn't load or doesn't register. Returns how many there were.
int registerModules(const fs::path& folder = moduleFolder());

}  // namespace zlk::test
