#include "tools/zlkcam/RegFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>

#include "platform/text.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

constexpr std::u16string_view headerLine = u"Windows Registry Editor Version 5.00";

[[noreturn]] void fail(std::size_t line, const std::string& reason) {
    throw Failure(
        ExitStatus::BadDocument,
        "The settings file can't be understood: line " + std::to_string(line) + ": " + reason + ".",
        "Nothing was changed.");
}

/// Decodes UTF-16 with a byte order mark, or UTF-8 with or without one.
std::u16string decode(std::string_view bytes) {
    const bool little = bytes.starts_with("\xFF\xFE");
    if (little || bytes.starts_with("\xFE\xFF")) {
        if (bytes.size() % 2 != 0) fail(1, "half a character at the end");
        std::u16string text((bytes.size() - 2) / 2, u'\0');
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto first = static_cast<unsigned char>(bytes[2 * i + 2]);
            const auto second = static_cast<unsigned char>(bytes[2 * i + 3]);
            text[i] = static_cast<WCHAR>(little ? first | second << 8 : first << 8 | second);
        }
        return text;
    }
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
    if (bytes.empty()) return {};
    std::u16string text(bytes.size(), u'\0');
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                          static_cast<int>(bytes.size()), text.data(),
                                          static_cast<int>(text.size()));
    if (units == 0) fail(1, "the file is neither UTF-8 nor UTF-16");
    text.resize(static_cast<std::size_t>(units));
    return text;
}

void trim(std::u16string_view& text) {
    while (!text.empty() && iswspace(text.front())) text.remove_prefix(1);
    while (!text.empty() && iswspace(text.back())) text.remove_suffix(1);
}

/// Splits a text into lines and joins those that continue in the next one.
class LineReader {
  public:
    explicit LineReader(std::u16string_view text) : rest_(text) {}

    /// Reads the next line that isn't empty or a comment, with the lines that continue it, without
    /// the blanks around each. `number` becomes the number of its first line in the file. Returns
    /// false at the end of the text.
    bool next(std::u16string& line, std::size_t& number) {
        line.clear();
        while (!rest_.empty()) {
            std::u16string_view piece = take();
            trim(piece);
            if (line.empty()) number = count_;
            if (line.empty() && (piece.empty() || piece.front() == u';')) continue;
            line += piece;
            if (!goesOn(line)) return true;
            line.pop_back();
        }
        return !line.empty();
    }

  private:
    std::u16string_view take() {
        ++count_;
        const std::size_t end = rest_.find(u'\n');
        const std::u16string_view piece = rest_.substr(0, end);
        rest_ = end == std::u16string_view::npos ? std::u16string_view() : rest_.substr(end + 1);
        return piece;
    }
    // Only values of bytes continue in the next line.
    static bool goesOn(std::u16string_view line) {
        return line.ends_with(u'\\') && !line.starts_with(u'[') && !line.ends_with(u"\"\\") &&
               line.find(u"=hex") != std::u16string_view::npos;
    }

    std::u16string_view rest_;
    std::size_t count_ = 0;
};

/// Takes a quoted text off the front, and undoes its escapes.
bool takeQuoted(std::u16string_view& text, std::u16string& content) {
    if (!text.starts_with(u'"')) return false;
    content.clear();
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == u'"') {
            text.remove_prefix(i + 1);
            return true;
        }
        if (text[i] == u'\\' && ++i == text.size()) return false;
        content += text[i];
    }
    return false;
}

std::optional<DWORD> hexNumber(std::u16string_view text, std::size_t maxDigits) {
    if (text.empty() || text.size() > maxDigits) return std::nullopt;
    DWORD number = 0;
    for (const WCHAR unit : text) {
        const WCHAR digit = upperCase(unit);
        if (digit >= u'0' && digit <= u'9') {
            number = number << 4 | static_cast<DWORD>(digit - u'0');
        } else if (digit >= u'A' && digit <= u'F') {
            number = number << 4 | static_cast<DWORD>(digit - u'A' + 10);
        } else {
            return std::nullopt;
        }
    }
    return number;
}

std::vector<BYTE> numberData(DWORD number) {
    std::vector<BYTE> data(sizeof number);
    std::memcpy(data.data(), &number, sizeof number);
    return data;
}

/// Parses `hex:...` or `hex(<type>):...`, where <type> is the hexadecimal number of a value's type.
bool parseHexValue(std::u16string_view text, SettingsValue& value) {
    text.remove_prefix(3);
    value.type = REG_BINARY;
    if (text.starts_with(u'(')) {
        const std::size_t end = text.find(u')');
        if (end == std::u16string_view::npos) return false;
        const std::optional<DWORD> type = hexNumber(text.substr(1, end - 1), 8);
        if (!type) return false;
        value.type = *type;
        text.remove_prefix(end + 1);
    }
    return text.starts_with(u':') && hexData(text.substr(1), value.data);
}

SettingsValue parseValue(std::u16string_view line, std::size_t number) {
    SettingsValue value;
    if (line.starts_with(u'@')) {
        line.remove_prefix(1);
    } else if (!takeQuoted(line, value.name)) {
        fail(number, "a value begins with its name in quotes, or with @");
    }
    trim(line);
    if (!line.starts_with(u'=')) fail(number, "a = is missing behind the name");
    line.remove_prefix(1);
    trim(line);

    // A single `-` deletes the value; all other forms give its type and data.
    bool good = false;
    if (line == u"-") {
        good = value.remove = true;
    } else if (std::u16string text; takeQuoted(line, text)) {
        value.type = REG_SZ;
        value.data = textData(text);
        good = line.empty();
    } else if (equalIgnoringCase(line.substr(0, 6), u"dword:")) {
        value.type = REG_DWORD;
        if (const auto content = hexNumber(line.substr(6), 8)) {
            value.data = numberData(*content);
            good = true;
        }
    } else if (equalIgnoringCase(line.substr(0, 3), u"hex")) {
        good = parseHexValue(line, value);
    }
    if (!good) fail(number, "this is no text in quotes, no dword: and no hex:");
    return value;
}

/// Whether a name or text can stand in a line of the file and is read back unchanged: it has no
/// line end or other control character, and no half of a surrogate pair.
bool writable(std::u16string_view name) {
    return std::none_of(name.begin(), name.end(), [](WCHAR unit) { return unit < 0x20; }) &&
           wideText(utf8Text(name)) == name;
}

std::string quoted(std::u16string_view text) {
    std::string result = "\"";
    for (const char c : utf8Text(text)) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string valueText(const SettingsValue& value) {
    // A text that can't stand in a line is written as bytes, and so is a text or number whose data
    // is malformed.
    std::array<char, 32> text{};
    if (value.type == REG_SZ) {
        std::u16string content;
        if (dataText(value.data, content) && writable(content)) return quoted(content);
    } else if (value.type == REG_DWORD && value.data.size() == sizeof(DWORD)) {
        DWORD number;
        std::memcpy(&number, value.data.data(), sizeof number);
        std::snprintf(text.data(), text.size(), "dword:%08x", number);
        return text.data();
    } else if (value.type == REG_BINARY) {
        return "hex:" + hexText(value.data);
    }
    std::snprintf(text.data(), text.size(), "hex(%x):", value.type);
    return text.data() + hexText(value.data);
}

}  // namespace

std::vector<SettingsKey> parseSettingsText(std::string_view bytes) {
    const std::u16string text = decode(bytes);
    LineReader lines(text);
    std::u16string line;
    std::size_t number = 1;
    if (!lines.next(line, number) || line != headerLine)
        fail(number, "it doesn't begin with \"" + utf8Text(headerLine) + "\"");

    std::vector<SettingsKey> keys;
    while (lines.next(line, number)) {
        if (!line.starts_with(u'[')) {
            if (keys.empty()) fail(number, "a value stands in front of the first key");
            if (keys.back().remove) fail(number, "a key that is deleted has a value");
            keys.back().values.push_back(parseValue(line, number));
            continue;
        }
        if (!line.ends_with(u']')) fail(number, "a ] is missing behind the key");
        SettingsKey key;
        key.line = number;
        key.remove = line.starts_with(u"[-");
        key.path = line.substr(key.remove ? 2 : 1);
        key.path.pop_back();
        if (key.path.empty()) fail(number, "a key has no name");
        keys.push_back(std::move(key));
    }
    return keys;
}

std::string writeSettingsText(const std::vector<SettingsKey>& keys,
                              std::vector<std::string>& leftOut) {
    std::string text = utf8Text(headerLine) + "\n";
    for (const SettingsKey& key : keys) {
        // A path that begins with `-` would read as a deletion, but paths from the store begin with
        // a root.
        if (!writable(key.path)) {
            leftOut.push_back(utf8Text(key.path));
            continue;
        }
        text += "\n[" + utf8Text(key.path) + "]\n";
        for (const SettingsValue& value : key.values) {
            if (!writable(value.name)) {
                leftOut.push_back(utf8Text(key.path) + ", value " + utf8Text(value.name));
                continue;
            }
            text += value.name.empty() ? "@" : quoted(value.name);
            text += "=" + valueText(value) + "\n";
        }
    }
    return text;
}

std::vector<BYTE> textData(std::u16string_view text) {
    std::vector<BYTE> data((text.size() + 1) * sizeof(WCHAR));
    std::memcpy(data.data(), text.data(), text.size() * sizeof(WCHAR));
    return data;
}

bool dataText(const std::vector<BYTE>& data, std::u16string& text) {
    if (data.empty() || data.size() % sizeof(WCHAR) != 0) return false;
    text.resize(data.size() / sizeof(WCHAR));
    std::memcpy(text.data(), data.data(), data.size());
    // The only zero has to stand at the end. Taken as a text, data with a zero inside would lose
    // what follows the zero.
    if (text.find(u'\0') != text.size() - 1) return false;
    text.pop_back();
    return true;
}

bool hexData(std::u16string_view text, std::vector<BYTE>& data) {
    data.clear();
    trim(text);
    while (!text.empty()) {
        const std::size_t comma = text.find(u',');
        std::u16string_view digits = text.substr(0, comma);
        trim(digits);
        const std::optional<DWORD> byte = hexNumber(digits, 2);
        if (!byte) return false;
        data.push_back(static_cast<BYTE>(*byte));
        if (comma == std::u16string_view::npos) return true;
        text.remove_prefix(comma + 1);
        // A comma at the end lacks its number.
        if (text.empty()) return false;
    }
    return true;
}

std::string hexText(const std::vector<BYTE>& data) {
    std::string text;
    text.reserve(data.size() * 3);
    for (const BYTE byte : data) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        if (!text.empty()) text += ',';
        text += digits.data();
    }
    return text;
}

}  // namespace zlk
