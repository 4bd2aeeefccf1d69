#include "platform/text.h"

#include <cstring>
#include <limits>

#include "platform/base/Utf8.h"
#include "platform/error.h"

namespace {

using zlk::platform::replacementCharacter;
using zlk::platform::takeCharacter;

// Whether the next eight or four units, which fill eight bytes, are all ASCII.
template <class Unit>
bool eightBytesAreAscii(const Unit* units) {
    constexpr std::uint64_t beyondAscii =
        sizeof(Unit) == 1 ? 0x8080'8080'8080'8080 : 0xFF80'FF80'FF80'FF80;
    std::uint64_t word;
    std::memcpy(&word, units, sizeof word);
    return (word & beyondAscii) == 0;
}

/// The number of ASCII units at the front of a text. They are counted eight bytes at a time,
/// because documents of tens of megabytes consist of hardly anything else.
template <class Text>
std::size_t asciiRun(Text text) {
    constexpr std::size_t step = 8 / sizeof(typename Text::value_type);
    std::size_t run = 0;
    while (text.size() - run >= step && eightBytesAreAscii(text.data() + run)) run += step;
    while (run < text.size() && text[run] < 0x80 && text[run] >= 0) ++run;
    return run;
}

/// Takes the ASCII units off the front of `text`, and adds their number to `needed`. Unless `out`
/// is null, it also writes them there and returns the place after them.
template <class From, class To>
To* copyAscii(From& text, std::size_t& needed, To* out) {
    const std::size_t run = asciiRun(text);
    if (out) {
        for (std::size_t i = 0; i < run; ++i) out[i] = static_cast<To>(text[i]);
        out += run;
    }
    text.remove_prefix(run);
    needed += run;
    return out;
}

// UTF-8 to UTF-16; `broken` is set if there is something that isn't UTF-8.
std::size_t convert(std::string_view text, char16_t* out, bool& broken) {
    std::size_t needed = 0;
    for (;;) {
        out = copyAscii(text, needed, out);
        // Characters beyond ASCII mostly follow each other, so copyAscii isn't called after each.
        while (!text.empty() && static_cast<unsigned char>(text[0]) >= 0x80) {
            const char32_t character = takeCharacter(text, broken);
            const bool pair = character > 0xFFFF;
            needed += pair ? 2 : 1;
            if (!out) continue;
            if (pair) *out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
            *out++ = static_cast<char16_t>(pair ? 0xDC00 | (character & 0x3FF) : character);
        }
        if (text.empty()) return needed;
    }
}

// Takes one character, of one unit or a surrogate pair, off the front of `text`.
char32_t takeCharacter(std::u16string_view& text, bool& broken) {
    const char32_t first = text[0];
    text.remove_prefix(1);
    if (first < 0xD800 || first > 0xDFFF) return first;
    if (first < 0xDC00 && !text.empty() && text[0] >= 0xDC00 && text[0] <= 0xDFFF) {
        const char32_t second = text[0];
        text.remove_prefix(1);
        return 0x10000 + ((first - 0xD800) << 10 | (second - 0xDC00));
    }
    broken = true;
    return replacementCharacter;
}

// UTF-16 to UTF-8; `broken` is set if there is a lone surrogate.
std::size_t convert(std::u16string_view text, char* out, bool& broken) {
    std::size_t needed = 0;
    for (;;) {
        out = copyAscii(text, needed, out);
        while (!text.empty() && text[0] >= 0x80) {
            const char32_t character = takeCharacter(text, broken);
            // The number of bytes after the first one, each of which carries six bits.
            const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
            needed += static_cast<std::size_t>(more) + 1;
            if (!out) continue;
            constexpr unsigned leads[] = {0, 0xC0, 0xE0, 0xF0};
            *out++ = static_cast<char>(leads[more] | character >> (6 * more));
            for (int i = more - 1; i >= 0; --i)
                *out++ = static_cast<char>(0x80 | (character >> (6 * i) & 0x3F));
        }
        if (text.empty()) return needed;
    }
}

int refuse(DWORD error) {
    SetLastError(error);
    return 0;
}

// The body of both public conversions, whose arguments have the same rules.
template <class From, class To>
int convertInto(UINT codePage, bool strict, const From* source, int sourceLength, To* target,
                int targetLength) {
    if ((codePage != CP_ACP && codePage != CP_UTF8) || !source || sourceLength == 0 ||
        sourceLength < -1 || targetLength < 0 || (targetLength > 0 && !target))
        return refuse(ERROR_INVALID_PARAMETER);
    const std::size_t length = sourceLength > 0 ? static_cast<std::size_t>(sourceLength)
                                                : std::char_traits<From>::length(source) + 1;
    const std::basic_string_view<From> text(source, length);
    bool broken = false;
    // The first conversion only counts, so that a buffer that is too small stays untouched.
    const std::size_t needed = convert(text, static_cast<To*>(nullptr), broken);
    if (strict && broken) return refuse(ERROR_NO_UNICODE_TRANSLATION);
    if (needed > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return refuse(ERROR_INVALID_PARAMETER);
    if (targetLength > 0) {
        if (needed > static_cast<std::size_t>(targetLength))
            return refuse(ERROR_INSUFFICIENT_BUFFER);
        convert(text, target, broken);
    }
    return static_cast<int>(needed);
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceLength,
                        WCHAR* target, int targetLength) noexcept {
    return convertInto(codePage, flags & MB_ERR_INVALID_CHARS, source, sourceLength, target,
                       targetLength);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* source, int sourceLength,
                        char* target, int targetLength, const char* defaultChar,
                        BOOL* usedDefaultChar) noexcept {
    if (defaultChar || usedDefaultChar) return refuse(ERROR_INVALID_PARAMETER);
    return convertInto(codePage, flags & WC_ERR_INVALID_CHARS, source, sourceLength, target,
                       targetLength);
}

std::u16string wideText(std::string_view utf8) {
    bool broken = false;
    std::u16string wide(convert(utf8, static_cast<char16_t*>(nullptr), broken), u'\0');
    convert(utf8, wide.data(), broken);
    return wide;
}

std::string utf8Text(std::u16string_view wide) {
    bool broken = false;
    std::string utf8(convert(wide, static_cast<char*>(nullptr), broken), '\0');
    convert(wide, utf8.data(), broken);
    return utf8;
}

int _wtoi(const WCHAR* text) noexcept {
    if (!text) return 0;
    while (iswspace(*text)) ++text;
    const bool negative = *text == u'-';
    if (negative || *text == u'+') ++text;
    std::uint32_t value = 0;
    for (; *text >= u'0' && *text <= u'9'; ++text)
        value = value * 10 + static_cast<std::uint32_t>(*text - u'0');
    return static_cast<int>(negative ? 0 - value : value);
}
