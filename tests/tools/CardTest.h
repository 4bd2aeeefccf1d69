#pragma once
// A folder mounted as card E:, and a folder to copy into, on a machine with all components.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "tests/support/Modules.h"
#include "tests/support/TestMachine.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {

/// The files in a folder that was unloaded into, without the record of it.
inline std::vector<std::filesystem::path> copiesIn(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> copies;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().parent_path().filename() != "ascmhl")
            copies.push_back(entry.path());
    return copies;
}

/// What isn't whole yet in a folder that is unloaded into.
inline std::vector<std::filesystem::path> hiddenCopies(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code none;
    for (const auto& run : std::filesystem::directory_iterator(folder, none))
        if (run.path().filename().string().starts_with(".zlkcam-"))
            for (const auto& file : std::filesystem::directory_iterator(run, none))
                files.push_back(file.path());
    return files;
}

/// Waits for so many bytes in a hidden file whose name ends so, and stops the client there. Behind
/// the last of them it reads the file a second time.
inline void freezeInside(const RunningZlkCam& client, const std::filesystem::path& folder,
                         const std::string& end, std::uintmax_t bytes = 1) {
    for (;; std::this_thread::yield())
        for (const auto& file : hiddenCopies(folder)) {
            std::error_code none;
            if (file.string().ends_with(end) && std::filesystem::file_size(file, none) >= bytes &&
                !none)
                return client.signal(SIGSTOP);
        }
}

class CardTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_GE(registerModules(), 1);
        card = newFolder();
        target = newFolder();
        const auto mounted = zlkcam({"mount", card, "--letter", "E", "--label", "WEDDING"});
        ASSERT_EQ(mounted.status, 0) << mounted.error;
    }

    /// A file on the card; folders above it are made.
    std::filesystem::path addFile(const std::string& name, const std::string& bytes) const {
        const auto path = card / name;
        std::filesystem::create_directories(path.parent_path());
        writeFile(path, bytes);
        return path;
    }
    /// One of zeros, which takes no room.
    void addHole(const std::string& name, std::uintmax_t size) const {
        std::filesystem::resize_file(addFile(name, ""), size);
    }
    /// Bytes that no two numbers have in common.
    static std::string bytesOf(std::size_t size, unsigned number) {
        std::string bytes(size, '\0');
        std::uint32_t state = number * 2654435761u + 1;
        for (char& byte : bytes) {
            state = state * 1664525u + 1013904223u;
            byte = static_cast<char>(state >> 24);
        }
        return bytes;
    }
    /// Runs the client with no more rights to files than their modes give.
    static ProgramResult withoutPrivileges(std::vector<std::string> words) {
        words.insert(words.begin(), programFolder() / "zlkcam");
        if (::geteuid() == 0)
            words.insert(words.begin(),
                         {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
        return runProgram(words);
    }
    /// Files in the target folder that aren't under their own name.
    std::size_t torsos() const {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(target))
            count += entry.path().filename().string().starts_with(".zlkcam-");
        return count;
    }

    std::filesystem::path card, target;
};

}  // namespace zlk::test
