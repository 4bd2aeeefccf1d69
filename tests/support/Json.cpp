#include "tests/support/Json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string_view>

#include "platform/text.h"

namespace zlk::test {
namespace {

class Parser {
  public:
    explicit Parser(std::string_view text) : rest_(text) {}

    Json document() {
        Json result = value();
        blanks();
        if (!rest_.empty()) fail("something behind the document");
        return result;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw std::runtime_error(reason + " at: " + std::string(rest_.substr(0, 40)));
    }
    void blanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
    }
    char peek() {
        blanks();
        if (rest_.empty()) fail("the end is missing");
        return rest_.front();
    }
    void take(char wanted) {
        if (peek() != wanted) fail(std::string("no ") + wanted);
        rest_.remove_prefix(1);
    }

    Json value() {
        Json result;
        const char first = peek();
        if (first == '"') {
            result.text = string();
        } else if (first == '{' || first == '[') {
            const char last = first == '{' ? '}' : ']';
            take(first);
            while (peek() != last) {
                if (!result.items.empty()) take(',');
                if (first == '{') {
                    result.names.push_back((peek(), string()));
                    take(':');
                }
                result.items.push_back(value());
            }
            take(last);
        } else {
            const std::size_t end = std::min(rest_.find_first_of(",]} \n"), rest_.size());
            result.text = rest_.substr(0, end);
            rest_.remove_prefix(end);
            const bool number = result.text.find_first_not_of("-0123456789.") == std::string::npos;
            if (!number && result.text != "true" && result.text != "false") fail("no value");
        }
        return result;
    }

    std::string string() {
        take('"');
        std::string result;
        for (;;) {
            if (rest_.empty()) fail("an open text");
            const char c = rest_.front();
            rest_.remove_prefix(1);
            if (c == '"') return result;
            if (static_cast<unsigned char>(c) < 0x20) fail("a control character");
            result += c == '\\' ? escape() : std::string(1, c);
        }
    }
    std::string escape() {
        if (rest_.empty()) fail("an open text");
        const char kind = rest_.front();
        rest_.remove_prefix(1);
        if (kind == '"' || kind == '\\') return std::string(1, kind);
        if (kind != 'u' || rest_.size() < 4) fail("an unknown escape");
        const int unit = std::stoi(std::string(rest_.substr(0, 4)), nullptr, 16);
        rest_.remove_prefix(4);
        return utf8Text(std::u16string(1, static_cast<WCHAR>(unit)));
    }

    std::string_view rest_;
};

}  // namespace

Json Json::parse(const std::string& document) {
    EXPECT_EQ(utf8Text(wideText(document)), document) << "not UTF-8";
    try {
        return Parser(document).document();
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what() << "\n" << document;
        return {};
    }
}

const Json& Json::operator[](const std::string& name) const {
    static const Json none;
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? none : items[static_cast<std::size_t>(found - names.begin())];
}

std::vector<std::string> Json::each(const std::string& name) const {
    std::vector<std::string> texts;
    for (const Json& item : items) texts.push_back(item[name].text);
    return texts;
}

}  // namespace zlk::test
