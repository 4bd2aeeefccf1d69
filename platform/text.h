#pragma once
// Text: conversions between UTF-16 and 8-bit text, letter case, numbers, and formatting. 8-bit text
// is UTF-8 throughout, and UTF-8 is the system's code page. No call reads or changes the process's
// locale, so that all processes agree on names. Every call may come from any thread.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/types.h"

// Code pages, and the flags that make a conversion fail where it would otherwise write U+FFFD.
inline constexpr UINT CP_ACP = 0;  ///< the system's code page, which is UTF-8 here
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

#pragma GCC visibility push(default)

/// Converts `sourceLength` bytes (-1: up to the terminating zero, which is converted too) to
/// UTF-16. With `targetLength` 0 it writes nothing and returns the number of units that it needs.
/// Bytes that aren't UTF-8 become U+FFFD, or fail the call with MB_ERR_INVALID_CHARS. Returns the
/// units written; 0 on failure with ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION or
/// ERROR_INVALID_PARAMETER (among other reasons, for a `sourceLength` of 0).
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceLength,
                        WCHAR* target, int targetLength) noexcept;

/// Converts `sourceLength` units of UTF-16 to UTF-8 by the rules of MultiByteToWideChar; a lone
/// surrogate becomes U+FFFD, or fails the call with WC_ERR_INVALID_CHARS. The last two arguments
/// must be null.
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* source, int sourceLength,
                        char* target, int targetLength, const char* defaultChar = nullptr,
                        BOOL* usedDefaultChar = nullptr) noexcept;

/// Convert a whole text, embedded zeros included; what can't be converted becomes U+FFFD.
std::u16string wideText(std::string_view utf8);
std::string utf8Text(std::u16string_view wide);

/// Upper-case form of one UTF-16 unit, by Unicode's simple mapping, except that no unit beyond
/// ASCII maps into ASCII. Surrogates map to themselves. The result is the same in every process:
/// names of files, registry keys and identifiers are compared by it.
WCHAR upperCase(WCHAR unit) noexcept;
std::u16string upperCase(std::u16string_view text);
/// Compares two texts, case ignored. Negative, 0 or positive if `a` sorts before, with or after
/// `b`.
int compareIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;
bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;

/// Whether a unit is white space: blank, tab, line ends, and the Unicode spaces.
bool iswspace(WCHAR unit) noexcept;

/// Reads a decimal number, up to the first character that isn't a digit; white space and a sign may
/// stand before it. A text without a number gives 0. A number beyond 32 bits gives its value modulo
/// 2^32, so that one above 0x7FFFFFFF that was written as unsigned keeps its bits.
int _wtoi(const WCHAR* text) noexcept;

/// One argument of a formatting call. It carries its own type, so that a format that asks for
/// another type prints "?" and never reads memory that isn't there. Texts are borrowed.
class FormatArgument {
  public:
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    FormatArgument(Integer value) noexcept
        : kind_(Kind::Number),
          size_(sizeof(Integer)),
          number_(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))) {}
    FormatArgument(const WCHAR* text) noexcept
        : kind_(Kind::Wide), wide_(text ? std::u16string_view(text) : u"(null)") {}
    FormatArgument(const std::u16string& text) noexcept : kind_(Kind::Wide), wide_(text) {}
    FormatArgument(std::u16string_view text) noexcept : kind_(Kind::Wide), wide_(text) {}
    FormatArgument(const char* text) noexcept
        : kind_(Kind::Narrow), narrow_(text ? std::string_view(text) : "(null)") {}
    FormatArgument(const std::string& text) noexcept : kind_(Kind::Narrow), narrow_(text) {}

  private:
    friend class FormatWriter;
    enum class Kind : std::uint8_t { Number, Wide, Narrow };
    Kind kind_;
    std::uint8_t size_ = 0;  // of a number, in bytes
    std::uint64_t number_ = 0;
    std::u16string_view wide_;
    std::string_view narrow_;
};

/// Formats as the wide printf family does: %d %i %u %x %X %c %C %s %S %p %%, with flags, width and
/// precision; %p always has 16 digits. The length words h, l, ll, I64 and I32 have no effect: a
/// number has 64 bits if its type has, and otherwise counts as one of 32 bits. The conversion says
/// whether it is signed. `%s` and `%S` take text of either width. An argument of the wrong kind, or
/// a missing one, prints as "?". Writes at most `room` units, terminator included, and allocates
/// nothing. Returns the number of units of the whole text, without the terminator; the text was cut
/// if that is `room` or more.
std::size_t formatWide(WCHAR* buffer, std::size_t room, std::u16string_view format,
                       std::span<const FormatArgument> arguments) noexcept;

/// Formats as formatWide does, into a string.
std::u16string formatText(std::u16string_view format, std::span<const FormatArgument> arguments);

#pragma GCC visibility pop

template <class... Arguments>
std::u16string formatText(std::u16string_view format, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
    return formatText(format, std::span<const FormatArgument>(list));
}
