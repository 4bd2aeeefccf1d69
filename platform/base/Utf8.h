#pragma once
// One character at a time out of UTF-8 that may be anything.

#include <string_view>

namespace zlk::platform {

inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Takes the next character off a text that isn't empty. What isn't UTF-8 (overlong forms,
/// surrogates, values beyond U+10FFFF, sequences cut short) gives replacementCharacter, once for
/// each longest piece that could have begun a character, and sets `broken`.
inline char32_t takeCharacter(std::string_view& text, bool& broken) noexcept {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(0);
    std::size_t length = 1;
    // The range of the second byte is what keeps out overlong forms, surrogates and the rest.
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
