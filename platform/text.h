#pragma once
// Conversions between UTF-16 and 8-bit text, case, numbers, and formatting. 8-bit text is UTF-8
// throughout, and UTF-8 is the system's code page. No call looks at, or changes, the process's
// locale.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/types.h"

inline constexpr UINT CP_ACP = 0;  ///< the system's code page, which is UTF-8 here
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

#pragma GCC visibility push(default)

/// Converts `sourceLength` bytes (-1: up to and with the terminating zero) to UTF-16. With
/// `targetLength` 0 nothing is written and the units needed are the result. What isn't UTF-8
/// becomes U+FFFD, or fails the call with MB_ERR_INVALID_CHARS. Returns the units written;
/// 0 on failure with ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION or
/// ERROR_INVALID_PARAMETER.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceLength,
                        WCHAR* target, int targetLength) noexcept;

/// The way back, with the same rules; a lone surrogate becomes U+FFFD, or fails the call with
/// WC_ERR_INVALID_CHARS. The last two arguments must be null.
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* source, int sourceLength,
                        char* target, int targetLength, const char* defaultChar = nullptr,
                        BOOL* usedDefaultChar = nullptr) noexcept;

/// Whole texts, embedded zeros included; what can't be converted becomes U+FFFD.
std::u16string wideText(std::string_view utf8);
std::string utf8Text(std::u16string_view wide);

/// Simple case mapping of one UTF-16 unit (surrogates map to themselves), the same in every
/// process: names of files, registry keys and identifiers compare by it.
WCHAR upperCase(WCHAR unit) noexcept;
std::u16string upperCase(std::u16string_view text);
/// Below, at or above 0 as `a` sorts before, with or behind `b`, case ignored.
int compareIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;
bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;

/// White space by the system's wide character classification (blank, tab, line ends, and the
/// Unicode spaces).
bool iswspace(WCHAR unit) noexcept;

/// A decimal number: white space, a sign, digits up to the first other character. A text that
/// holds none gives 0; one beyond 32 bits gives the value modulo 2^32, so that a number above
/// 0x7FFFFFFF written as unsigned keeps its bits.
int _wtoi(const WCHAR* text) noexcept;

/// One argument of a formatting call: it carries its own type, so that a format that asks for
/// something else prints sense and never reads what isn't there.
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

/// Formats as the wide printf family does: %d %i %u %x %X %c %s %p %%, with flags, width,
/// precision and the length words h, l, ll, I64 and I32. `%s` takes text of either width; a
/// number's own type tells how many bits it has, the conversion whether they are signed. An
/// argument of the other kind, or a missing one, prints as "?". Writes at most `room - 1` units
/// and a terminator, allocates nothing, and returns the units that the whole text has, which is
/// `room` or more where it was cut.
std::size_t formatWide(WCHAR* buffer, std::size_t room, std::u16string_view format,
                       std::span<const FormatArgument> arguments) noexcept;

/// The same into a string of its own.
std::u16string formatText(std::u16string_view format, std::span<const FormatArgument> arguments);

#pragma GCC visibility pop

template <class... Arguments>
std::u16string formatText(std::u16string_view format, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
    return formatText(format, std::span<const FormatArgument>(list));
}
