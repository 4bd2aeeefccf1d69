#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/base/Utf8.h"
#include "platform/text.h"

namespace {

// The largest width of a field, and the largest number of digits; a format that asks for more gets
// this many.
constexpr int widestField = 512;

// The letters in the order of the bits of Flag.
constexpr char flagLetters[] = "-+ 0#";
enum Flag : unsigned { leftFlag = 1, plusFlag = 2, blankFlag = 4, zeroFlag = 8, baseFlag = 16 };

/// One conversion: `%`, flags, width, precision, length words, and the letter.
struct Conversion {
    unsigned flags = 0;  // bits of Flag
    int width = 0;
    int precision = -1;  // -1: none was given
    WCHAR letter = 0;    // 0: the format ended before it

    bool has(Flag flag) const { return flags & flag; }
};

}  // namespace

/// Runs through a format once, writes what fits into the buffer, and counts all units.
class FormatWriter {
  public:
    FormatWriter(WCHAR* buffer, std::size_t room, std::u16string_view format,
                 std::span<const FormatArgument> arguments)
        : buffer_(buffer), room_(buffer ? room : 0), format_(format), arguments_(arguments) {}

    std::size_t run() {
        while (!format_.empty()) {
            const std::size_t plain = std::min(format_.find(u'%'), format_.size());
            put(format_.substr(0, plain));
            format_.remove_prefix(plain);
            if (!format_.empty()) convert();
        }
        if (room_ > 0) buffer_[std::min(length_, room_ - 1)] = u'\0';
        return length_;
    }

  private:
    using Kind = FormatArgument::Kind;

    // One place always stays free for the terminator.
    void put(WCHAR unit) {
        if (length_ + 1 < room_) buffer_[length_] = unit;
        ++length_;
    }

    void put(std::u16string_view text) {
        if (length_ + 1 < room_)
            std::copy_n(text.data(), std::min(text.size(), room_ - 1 - length_), buffer_ + length_);
        length_ += text.size();
    }

    void pad(int width, std::size_t used) {
        for (std::size_t i = used; i < static_cast<std::size_t>(width); ++i) put(u' ');
    }

    const FormatArgument* next() {
        if (arguments_.empty()) return nullptr;
        const FormatArgument* argument = &arguments_.front();
        arguments_ = arguments_.subspan(1);
        return argument;
    }

    bool take(WCHAR unit) {
        if (format_.empty() || format_.front() != unit) return false;
        format_.remove_prefix(1);
        return true;
    }

    /// A number from the format, or for `*` from an argument, limited to -limit..limit.
    int takeNumber(int limit) {
        if (take(u'*')) {
            const FormatArgument* argument = next();
            if (!argument || argument->kind_ != Kind::Number) return 0;
            return static_cast<int>(
                std::clamp(signedValue(*argument), std::int64_t{-limit}, std::int64_t{limit}));
        }
        int number = 0;
        for (; !format_.empty() && format_.front() >= u'0' && format_.front() <= u'9';
             format_.remove_prefix(1))
            number = std::min(number * 10 + (format_.front() - u'0'), limit);
        return number;
    }

    void takeFlags(Conversion& conversion) {
        for (; !format_.empty(); format_.remove_prefix(1)) {
            const char* flag = format_.front() < 0x80
                                   ? std::strchr(flagLetters, static_cast<char>(format_.front()))
                                   : nullptr;
            if (!flag || !*flag) return;
            conversion.flags |= 1u << (flag - flagLetters);
        }
    }

    /// Length words are skipped, because an argument carries its own size.
    void skipLengthWords() {
        for (;;) {
            if (format_.starts_with(u"I64") || format_.starts_with(u"I32")) {
                format_.remove_prefix(3);
            } else if (!take(u'h') && !take(u'l') && !take(u'I')) {
                return;
            }
        }
    }

    Conversion takeConversion() {
        Conversion conversion;
        format_.remove_prefix(1);
        takeFlags(conversion);
        // A negative width, which only an argument can give, means "flush left".
        conversion.width = takeNumber(widestField);
        if (conversion.width < 0) {
            conversion.flags |= leftFlag;
            conversion.width = -conversion.width;
        }
        // This limit only prevents an overflow; putNumber has a smaller one for digits.
        if (take(u'.')) conversion.precision = std::max(takeNumber(100'000'000), -1);
        skipLengthWords();
        if (!format_.empty()) {
            conversion.letter = format_.front();
            format_.remove_prefix(1);
        }
        return conversion;
    }

    void convert() {
        const std::u16string_view asWritten = format_;
        const Conversion conversion = takeConversion();
        switch (conversion.letter) {
            case u'd':
            case u'i':
            case u'u':
            case u'x':
            case u'X':
            case u'p':
            case u'c':
            case u'C':
                return putNumber(conversion, next());
            case u's':
            case u'S':
                return putText(conversion, next());
            case u'%':
                return put(u'%');
            // An unknown conversion is printed as it was written.
            default:
                return put(asWritten.substr(0, asWritten.size() - format_.size()));
        }
    }

    static std::uint64_t unsignedValue(const FormatArgument& argument) {
        // A number smaller than an int counts as one of 32 bits, because C widens such an argument.
        return argument.size_ > 4 ? argument.number_ : argument.number_ & 0xFFFFFFFF;
    }

    static std::int64_t signedValue(const FormatArgument& argument) {
        const std::uint64_t value = argument.number_;
        return argument.size_ > 4 ? static_cast<std::int64_t>(value)
                                  : static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
    }

    void putNumber(const Conversion& conversion, const FormatArgument* argument) {
        if (!argument || argument->kind_ != Kind::Number) return putMismatch(conversion);
        if (conversion.letter == u'c' || conversion.letter == u'C') {
            const WCHAR unit = static_cast<WCHAR>(argument->number_);
            return putField(conversion, 1, [&] { put(unit); });
        }
        const bool isAddress = conversion.letter == u'p';
        const bool isSigned = conversion.letter == u'd' || conversion.letter == u'i';
        const auto value =
            isSigned ? signedValue(*argument) : static_cast<std::int64_t>(unsignedValue(*argument));
        // The C library can print an integer, because its digits are the same in every locale.
        // Width and precision are bounded, so the text has room for it.
        char pattern[sizeof flagLetters + sizeof "%*.*jd"] = "%";
        char* end = pattern + 1;
        for (std::size_t i = 0; flagLetters[i]; ++i)
            if (conversion.flags & 1u << i) *end++ = flagLetters[i];
        for (const char unit : {'*', '.', '*', 'j'}) *end++ = unit;
        *end = isAddress ? 'X' : static_cast<char>(conversion.letter);
        char text[2 * widestField];
        const int precision = isAddress ? 16 : std::min(conversion.precision, widestField);
        const int length =
            std::snprintf(text, sizeof text, pattern, conversion.width, precision, value);
        for (const char unit : std::string_view(text, static_cast<std::size_t>(length)))
            put(static_cast<WCHAR>(unit));
    }

    void putText(const Conversion& conversion, const FormatArgument* argument) {
        if (!argument || argument->kind_ == Kind::Number) return putMismatch(conversion);
        const std::size_t limit = conversion.precision < 0
                                      ? std::u16string_view::npos
                                      : static_cast<std::size_t>(conversion.precision);
        if (argument->kind_ == Kind::Wide) {
            const std::u16string_view text = argument->wide_.substr(0, limit);
            return putField(conversion, text.size(), [&] { put(text); });
        }
        // The field's padding may come before the text, so the text's units are counted first.
        std::size_t units = 0;
        eachUnit(argument->narrow_, limit, [&](WCHAR) { ++units; });
        putField(conversion, units,
                 [&] { eachUnit(argument->narrow_, limit, [&](WCHAR unit) { put(unit); }); });
    }

    // Calls `visit` for each UTF-16 unit of a text in UTF-8, up to `limit` units.
    template <class Visit>
    static void eachUnit(std::string_view text, std::size_t limit, Visit visit) {
        bool broken = false;
        while (!text.empty() && limit > 0) {
            const char32_t character = zlk::platform::takeCharacter(text, broken);
            if (character < 0x10000) {
                visit(static_cast<WCHAR>(character));
                --limit;
            } else {
                if (limit < 2) return;  // a surrogate pair is never cut in half
                visit(static_cast<WCHAR>(0xD7C0 + (character >> 10)));
                visit(static_cast<WCHAR>(0xDC00 | (character & 0x3FF)));
                limit -= 2;
            }
        }
    }

    template <class Put>
    void putField(const Conversion& conversion, std::size_t units, Put putContent) {
        if (!conversion.has(leftFlag)) pad(conversion.width, units);
        putContent();
        if (conversion.has(leftFlag)) pad(conversion.width, units);
    }

    void putMismatch(const Conversion& conversion) {
        putField(conversion, 1, [&] { put(u'?'); });
    }

    WCHAR* const buffer_;
    const std::size_t room_;
    std::size_t length_ = 0;
    std::u16string_view format_;
    std::span<const FormatArgument> arguments_;
};

std::size_t formatWide(WCHAR* buffer, std::size_t room, std::u16string_view format,
                       std::span<const FormatArgument> arguments) noexcept {
    return FormatWriter(buffer, room, format, arguments).run();
}

std::u16string formatText(std::u16string_view format, std::span<const FormatArgument> arguments) {
    std::u16string text(formatWide(nullptr, 0, format, arguments), u'\0');
    // The terminator goes where the string has its own.
    formatWide(text.data(), text.size() + 1, format, arguments);
    return text;
}
