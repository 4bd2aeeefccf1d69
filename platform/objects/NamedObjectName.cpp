#include "platform/objects/NamedObjectName.h"

#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "platform/base/Sha256.h"

namespace zlk::platform {
namespace {

constexpr std::size_t longestName = 260;    // units
constexpr std::size_t longestFile = 200;    // bytes; most file systems take 255
constexpr std::size_t keptOfLongOne = 160;  // bytes kept readable for people who look

bool isPlain(WCHAR unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'_';
}

/// Encodes a name as ASCII, one unit after the other, so that different names have different texts
/// even if they aren't valid UTF-16.
std::string encode(std::u16string_view name) {
    std::string text;
    for (const WCHAR unit : name) {
        if (isPlain(unit)) {
            text += static_cast<char>(unit);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, unit < 0x100 ? "%%%02X" : "%%u%04X",
                          unsigned{unit});
            text += escape;
        }
    }
    return text;
}

/// Shortens an encoded name that is too long for a file: its beginning, `+`, and half of its
/// SHA-256. No encoded name contains `+`, so a short name can't collide with a shortened one.
std::string shorten(const std::string& text) {
    std::string file = text.substr(0, keptOfLongOne) + '+';
    const auto digest = sha256(text);
    for (std::size_t i = 0; i < 16; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", unsigned{digest[i]});
        file += digits;
    }
    return file;
}

}  // namespace

bool parseObjectName(const WCHAR* text, NamedObjectName& name) {
    name = {};
    if (!text || !*text) return true;
    std::size_t length = 0;
    while (length <= longestName && text[length]) ++length;
    if (length > longestName) return false;
    std::u16string_view rest(text, length);
    constexpr std::u16string_view global = u"Global\\", local = u"Local\\";
    if (rest.starts_with(global)) {
        rest.remove_prefix(global.size());
        name.folder = "run/global";
    } else {
        if (rest.starts_with(local)) rest.remove_prefix(local.size());
        name.folder = "run/session/" + std::to_string(::geteuid());
    }
    if (rest.empty() || rest.find(u'\\') != rest.npos) return false;
    name.file = encode(rest);
    if (name.file.size() > longestFile) name.file = shorten(name.file);
    return true;
}

}  // namespace zlk::platform
