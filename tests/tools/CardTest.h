#pragma once
// A folder mounted as card E:, and a folder to copy into, on a machine with all components.

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "tests/support/Modules.h"
#include "tests/support/TestMachine.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {

/// The names of the files in a folder that was unloaded into, without the record of it.
inline std::vector<std::string> copiesIn(const fs::path& folder) {
    std::vector<std::string> copies;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().parent_path().filename() != "ascmhl")
            copies.push_back(entry.path().lexically_relative(folder));
    std::ranges::sort(copies);
    return copies;
}

/// What isn't whole yet in a folder that is unloaded into.
inline std::vector<fs::path> hiddenCopies(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code none;
    for (const auto& run : fs::directory_iterator(folder, none))
        if (run.path().filename().string().starts_with(".zlkcam-"))
            for (const auto& file : fs::directory_iterator(run, none)) files.push_back(file.path());
    return files;
}

/// Waits for so many bytes in a hidden file whose name ends so, and stops the client there. Behind
/// the last of them it reads the file a second time.
inline void freezeInside(const RunningZlkCam& client, const fs::path& folder,
                         const std::string& end, std::uintmax_t bytes = 1) {
    for (;; std::this_thread::yield())
        for (const auto& file : hiddenCopies(folder)) {
            std::error_code none;
            if (file.string().ends_with(end) && fs::file_size(file, none) >= bytes && !none)
                return client.signal(SIGSTOP);
        }
}

inline std::size_t countIn(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// A folder on a disk of its own, in memory, as long as this lives. Only root may mount one.
class SmallDisk {
  public:
    SmallDisk(const fs::path& folder, const std::string& size) : folder_(folder) {
        fs::create_directories(folder);
        isMounted_ = ::mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~SmallDisk() {
        if (isMounted_) ::umount2(folder_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    explicit operator bool() const { return isMounted_; }

  private:
    const fs::path folder_;
    bool isMounted_;
};

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
    fs::path addFile(const std::string& name, const std::string& bytes) const {
        const auto path = card / name;
        fs::create_directories(path.parent_path());
        writeFile(path, bytes);
        return path;
    }
    /// One of zeros, which takes no room.
    void addHole(const std::string& name, std::uintmax_t size) const {
        fs::resize_file(addFile(name, ""), size);
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
    /// Files in the target folder that aren't under their own name.
    std::size_t torsos() const {
        std::size_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(target))
            count += entry.path().filename().string().starts_with(".zlkcam-");
        return count;
    }

    fs::path card, target;
};

}  // namespace zlk::test
