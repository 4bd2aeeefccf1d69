#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <utility>

#include "platform/text.h"

namespace zlk::test {
namespace {

class Sandbox {
  public:
    Sandbox() {
        // A child process works on the machine of the test that started it, and its own files lie
        // below that one's, which clears up after a child that was killed.
        const char* parent = getenv("ZLK_TEST_FOLDER");
        std::string pattern =
            (parent ? fs::path(parent) : fs::temp_directory_path()) / "zlk-test-XXXXXX";
        if (!mkdtemp(pattern.data())) abort();
        top_ = pattern;
        root_ = parent ? fs::path(getenv("ZLK_MACHINE")) : top_ / "machine";
        setenv("ZLK_MACHINE", root_.c_str(), 1);
        setenv("ZLK_TEST_FOLDER", top_.c_str(), 1);
    }
    ~Sandbox() {
        std::error_code ignored;
        fs::remove_all(top_, ignored);
    }
    fs::path top_, root_;
    int folders_ = 0;
};

// Made before main, and so before the first call into the platform.
Sandbox sandbox;

}  // namespace

const fs::path& machineRoot() {
    return sandbox.root_;
}

fs::path newFolder() {
    fs::path folder = sandbox.top_ / ("folder" + std::to_string(++sandbox.folders_));
    fs::create_directory(folder);
    return folder;
}

fs::path moduleFolder() {
    return ZLK_MODULE_DIR;
}

fs::path programFolder() {
    return ZLK_BIN_DIR;
}

std::u16string pathText(const fs::path& path) {
    return wideText(path.string());
}

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    file.close();
    ASSERT_TRUE(file) << path;
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    std::ostringstream text;  // block by block; byte by byte takes minutes under a sanitizer
    text << file.rdbuf();
    return std::move(text).str();
}

}  // namespace zlk::test
