#pragma once
// Decodes UTF-8 that may be damaged, one character at a time.

#include <string_view>

namespace zlk::platform {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Removes the next character from a text that isn't empty, and returns it. Bytes that aren't UTF-8
/// (overlong forms, surrogates, values beyond U+10FFFF, sequences cut short) give
/// replacementCharacter and set `broken`; the bytes removed are then the longest piece that could
/// have begun a character, and at least one.
inline char32_t takeCharacter(std::string_view& text, bool& broken) noexcept {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(0);
    std::size_t length = 1;
    // The limits for the second byte exclude overlong forms, surrogates and values beyond U+10FFFF;
    // all later bytes have the full range.
    unsigned char low = 0x80, high = 0xBF;
    char32_t character = lead;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        character = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        character = lead & 0x0Fu;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        character = lead & 0x07u;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    }
    bool whole = lead < 0x80 || length > 1;
    std::size_t taken = 1;
    for (; whole && taken < length; ++taken) {
        if (taken == text.size() || byteAt(taken) < low || byteAt(taken) > high) {
            whole = false;
            break;
        }
        character = character << 6 | (byteAt(taken) & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    text.remove_prefix(taken);
    if (whole) return character;
    broken = true;
    return replacementCharacter;
}

}  // namespace zlk::platform
