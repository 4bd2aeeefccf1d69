// Names of files that hand on what is written to them.

#include "platform/file_sinks.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <thread>

#include "tests/platform/CardFolder.h"

namespace zlk::test {
namespace {

class Collected final : public FileSink {
  public:
    bool take(std::span<const std::byte> bytes) override {
        if (throws) throw std::runtime_error("no room");
        if (taken.size() + bytes.size() > room) return false;
        taken.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return true;
    }
    std::string taken;
    std::size_t room = 10;
    bool throws = false;
};

constexpr DWORD readAndWrite = GENERIC_READ | GENERIC_WRITE;

/// The error of writing this; ERROR_SUCCESS where all of it was taken.
DWORD write(const UniqueHandle& file, std::string_view text) {
    DWORD written = 99;
    const bool isDone =
        WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    EXPECT_EQ(written, isDone ? text.size() : 0);
    return isDone ? DWORD{ERROR_SUCCESS} : GetLastError();
}

TEST(FileSinks, HandOnWhatIsWrittenAndLookLikeAnEmptyFileBefore) {
    Collected sink, other;
    const SinkFile file(sink), second(other);
    const UniqueHandle handle = open(file.path(), readAndWrite, shareAll, CREATE_ALWAYS);
    ASSERT_TRUE(handle);
    LARGE_INTEGER size{};
    EXPECT_TRUE(GetFileSizeEx(handle.get(), &size));
    EXPECT_EQ(size.QuadPart, 0);
    EXPECT_EQ(write(handle, "1234"), DWORD{ERROR_SUCCESS});
    std::thread([&] { EXPECT_EQ(write(handle, "56"), DWORD{ERROR_SUCCESS}); }).join();
    EXPECT_EQ(write(handle, "more than fits"), DWORD{ERROR_DISK_FULL});
    sink.throws = true;
    EXPECT_EQ(write(handle, "7"), DWORD{ERROR_DISK_FULL});
    EXPECT_TRUE(FlushFileBuffers(handle.get()));
    EXPECT_TRUE(GetFileSizeEx(handle.get(), &size));
    EXPECT_EQ(size.QuadPart, 6);
    EXPECT_EQ(sink.taken, "123456");
    EXPECT_EQ(other.taken, "");
    EXPECT_FALSE(open(file.path(), GENERIC_READ, shareAll, CREATE_ALWAYS));
}

TEST(FileSinks, AreGoneWithTheirNamesAlsoForWhoeverHasThemOpen) {
    Collected sink;
    std::optional<SinkFile> file(sink);
    const std::u16string path = file->path();
    const UniqueHandle handle = open(path, readAndWrite, shareAll, CREATE_ALWAYS);
    file.reset();
    EXPECT_EQ(write(handle, "1"), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(open(path, readAndWrite, shareAll, CREATE_ALWAYS));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(sink.taken, "");
}

}  // namespace
}  // namespace zlk::test
