#pragma once
// A machine root of the test's own, and folders for its files. Each test process gets a new root
// before the platform is first used; its child processes inherit it.

#include <filesystem>
#include <string>

#include "platform/error.h"

namespace zlk::test {

namespace fs = std::filesystem;

/// The machine root of this process.
const fs::path& machineRoot();

/// A new empty folder for this test, removed with the process.
fs::path newFolder();

/// Whether a sanitizer watches the tests: its own memory and descriptors would be counted too.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool underSanitizer = true;
#else
inline constexpr bool underSanitizer = false;
#endif

/// What the build made: the folders of its modules and of its programs.
fs::path moduleFolder();
fs::path programFolder();

/// The text form in which applications pass a path of this machine.
std::u16string pathText(const fs::path& path);

/// ERROR_SUCCESS, or the last error where a call's result says that it failed.
template <class Result>
DWORD errorOf(const Result& result) {
    return result ? ERROR_SUCCESS : GetLastError();
}

void writeFile(const fs::path& path, const std::string& bytes);
/// All bytes; fails the test if it can't be read.
std::string readFile(const fs::path& path);

}  // namespace zlk::test
