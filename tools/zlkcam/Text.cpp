#include "tools/zlkcam/Text.h"

#include <array>
#include <cstdio>

#include "platform/files.h"

namespace zlk {
namespace {

constexpr WCHAR privateArea = 0xF000;

/// The length in bytes of the UTF-8 sequence at the start of `text`; 0 if there is no valid one.
std::size_t sequenceLength(std::string_view text) {
    for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
        WCHAR units[2];
        if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                static_cast<int>(length), units, 2))
            return length;
    }
    return 0;
}

}  // namespace

std::u16string pathArgument(std::string_view bytes) {
    // In a path that doesn't begin with `/`, a backslash separates folders.
    const bool literal = bytes.starts_with('/');
    std::u16string path;
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        const auto byte = static_cast<unsigned char>(bytes.front());
        const bool partOfName = literal && (byte < 0x20 || byte == 0x7F || byte == '\\');
        // The platform turns a unit of the private area back into its byte when it opens the file.
        if (length == 0 || partOfName) {
            path += static_cast<WCHAR>(privateArea + byte);
            bytes.remove_prefix(1);
        } else {
            path += wideText(bytes.substr(0, length));
            bytes.remove_prefix(length);
        }
    }
    return path;
}

std::u16string absolutePath(std::u16string path) {
    const bool hasDrive = path.size() > 1 && path[1] == u':';
    if (path.starts_with(u'/') || path.starts_with(u"\\\\") || hasDrive) return path;
    // The first call returns the needed size.
    std::u16string folder(GetCurrentDirectoryW(0, nullptr), u'\0');
    folder.resize(GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data()));
    if (path.empty() || folder.empty()) return folder;
    if (!folder.ends_with(u'/')) folder += u'/';
    return folder + path;
}

std::string reasonText(DWORD error) {
    std::array<WCHAR, 300> text{};
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       0, text.data(), static_cast<DWORD>(text.size()));
    std::string reason = utf8Text({text.data(), length});
    while (reason.ends_with('.') || reason.ends_with(' ')) reason.pop_back();
    return reason;
}

std::string harmlessText(std::string_view utf8) {
    std::string text;
    text.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        const bool c0 = (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
        // U+0080 to U+009F are control characters, which terminals obey, too. In UTF-8 they are
        // 0xC2 and a byte below 0xA0, and 0xC2 is always the first byte of a sequence.
        const bool c1 =
            byte == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0;
        if (c1) ++i;
        text += c0 || c1 ? '?' : utf8[i];
    }
    return text;
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1000) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    constexpr const char* units[] = {"kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // 999.95 would be shown as 1000.0.
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1000;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", value, units[unit]);
    return text.data();
}

}  // namespace zlk
