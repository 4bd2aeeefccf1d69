#include "tools/zlkcam/TextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/files.h"
#include "platform/named_objects.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/RunName.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

constexpr std::size_t maxText = 1 << 20;  // documents of a camera have a few kilobytes

[[noreturn]] void fail(const std::u16string& path, const std::string& reason) {
    throw Failure(ExitStatus::FileUnusable,
                  "The file " + utf8Text(path) + " can't be used: " + reason + ".");
}

std::string readStandardInput(std::size_t maxBytes) {
    // One byte more than allowed shows whether the input is too long.
    std::string bytes(maxBytes + 1, '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), stdin));
    if (std::ferror(stdin)) fail(u"-", std::strerror(errno));
    if (bytes.size() > maxBytes) fail(u"-", "it is too long");
    return bytes;
}

}  // namespace

std::string readFileBytes(const std::u16string& path, std::size_t maxBytes) {
    if (path == u"-") return readStandardInput(maxBytes);
    const UniqueHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size)) fail(path, reasonText());
    if (static_cast<std::uint64_t>(size.QuadPart) > maxBytes) fail(path, "it is too long");
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
        fail(path, reasonText());
    bytes.resize(read);
    return bytes;
}

std::u16string readTextFile(const std::u16string& path) {
    std::string bytes = readFileBytes(path, maxText);
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
    std::u16string text(bytes.size(), u'\0');
    if (bytes.empty()) return text;
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                          static_cast<int>(bytes.size()), text.data(),
                                          static_cast<int>(text.size()));
    if (units == 0) fail(path, "it isn't UTF-8 text");
    text.resize(static_cast<std::size_t>(units));
    return text;
}

void writeNewFile(const std::u16string& path, std::string_view bytes) {
    const std::size_t name = path.find_last_of(u"/\\") + 1;
    // Until the file is complete it has a hidden name, in the same folder so that the move is
    // atomic.
    const std::u16string hidden =
        path.substr(0, name) + wideText(newRunName()) + u'-' + path.substr(name) + u".part";
    const UniqueHandle file(CreateFileW(hidden.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) fail(path, reasonText());
    DWORD written = 0;
    const auto size = static_cast<DWORD>(bytes.size());
    // The platform's move doesn't replace a file that has the name already.
    if (WriteFile(file.get(), bytes.data(), size, &written, nullptr) &&
        FlushFileBuffers(file.get()) && MoveFileW(hidden.c_str(), path.c_str()))
        return;
    const std::string reason = reasonText();
    DeleteFileW(hidden.c_str());
    fail(path, reason);
}

}  // namespace zlk
