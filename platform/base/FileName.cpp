#include "platform/base/FileName.h"

#include <algorithm>

#include "platform/base/Utf8.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

// The unit for a byte is this plus the byte, in Unicode's private area.
constexpr WCHAR unitBase = 0xF000;

// Whether a character, though valid UTF-8, may not stand in the text of a name: ASCII's control
// characters, the backslash, which separates the names in the text of a path, and U+FFFE and
// U+FFFF, which no XML document may contain.
constexpr bool needsUnit(char32_t character) {
    return character < 0x20 || character == u'\\' || character == 0x7F || character == 0xFFFE ||
           character == 0xFFFF;
}

/// The byte that a unit stands for; 0 for a unit that appendNameText never writes for a byte.
unsigned char byteOfUnit(WCHAR unit) noexcept {
    if (unit <= unitBase || unit > unitBase + 0xFF) return 0;
    const auto byte = static_cast<unsigned char>(unit & 0xFF);
    return byte >= 0x80 || needsUnit(byte) ? byte : 0;
}

void appendCharacter(std::u16string& text, char32_t character) {
    if (character < 0x10000) {
        text += static_cast<WCHAR>(character);
    } else {
        // A surrogate pair. 0xD7C0 is 0xD800 - (0x10000 >> 10), so that 0x10000 needn't be
        // subtracted from the character first.
        text += static_cast<WCHAR>(0xD7C0 + (character >> 10));
        text += static_cast<WCHAR>(0xDC00 + (character & 0x3FF));
    }
}

bool hasLoneSurrogate(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((text[i] & 0xF800) != 0xD800) continue;
        const bool pair =
            text[i] < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
        if (!pair) return true;
        ++i;
    }
    return false;
}

}  // namespace

void appendNameText(std::u16string& text, std::string_view name) {
    while (!name.empty()) {
        const auto byte = static_cast<unsigned char>(name[0]);
        // Most names are plain ASCII, and decoding them by takeCharacter would cost more.
        if (byte < 0x80 && !needsUnit(byte)) {
            text += static_cast<WCHAR>(byte);
            name.remove_prefix(1);
            continue;
        }
        // takeCharacter removes a character, or bytes that aren't UTF-8. Such bytes, and the bytes
        // of a character that may not stand in a text, become one unit each.
        const std::string_view before = name;
        bool broken = false;
        const char32_t character = takeCharacter(name, broken);
        if (broken || needsUnit(character)) {
            for (const char c : before.substr(0, before.size() - name.size()))
                text += static_cast<WCHAR>(unitBase + static_cast<unsigned char>(c));
        } else {
            appendCharacter(text, character);
        }
    }
}

std::u16string nameText(std::string_view name) {
    std::u16string text;
    appendNameText(text, name);
    return text;
}

bool hasByteUnits(std::u16string_view text) noexcept {
    return std::any_of(text.begin(), text.end(), byteOfUnit);
}

std::optional<std::string> literalName(std::u16string_view text) {
    if (hasLoneSurrogate(text)) return std::nullopt;
    return utf8Text(text);
}

std::optional<std::string> byteName(std::u16string_view text) {
    if (hasLoneSurrogate(text)) return std::nullopt;
    std::string name;
    while (!text.empty()) {
        if (const unsigned char byte = byteOfUnit(text[0])) {
            name += static_cast<char>(byte);
            text.remove_prefix(1);
            continue;
        }
        // The text up to the next unit for a byte is converted as a whole, because a surrogate pair
        // has two units.
        const auto end = std::find_if(text.begin(), text.end(), byteOfUnit);
        const auto length = static_cast<std::size_t>(end - text.begin());
        name += utf8Text(text.substr(0, length));
        text.remove_prefix(length);
    }
    return name;
}

}  // namespace zlk::platform
