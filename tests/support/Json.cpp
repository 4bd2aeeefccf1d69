#include "tests/support/Json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <stdexcept>
#include <string_view>

#include "platform/text.h"

namespace zlk::test {
namespace {

/// Takes a document's parts off its front, and throws where they are none.
class Parser {
  public:
    explicit Parser(std::string_view text) : rest_(text) {}

    Json value() {
        Json result;
        if (skip("\"")) {
            result.text = string();
        } else if (skip("[")) {
            while (!skip("]")) {
                check(result.items.empty() || skip(","));
                result.items.push_back(value());
            }
        } else if (skip("{")) {
            while (!skip("}")) {
                check(result.items.empty() || skip(","));
                check(skip("\""));
                result.names.push_back(string());
                check(skip(":"));
                result.items.push_back(value());
            }
        } else {
            static const std::regex scalar("-?\\d+(\\.\\d+)?|true|false");
            const std::size_t end = std::min(rest_.find_first_of(",]} \n"), rest_.size());
            result.text = rest_.substr(0, end);
            check(std::regex_match(result.text, scalar));
            rest_.remove_prefix(end);
        }
        return result;
    }

    void end() { check(skip("") && rest_.empty()); }

  private:
    void check(bool good) const {
        if (!good) throw std::runtime_error("no JSON at: " + std::string(rest_.substr(0, 40)));
    }
    /// Blanks, and this word if it comes next.
    bool skip(std::string_view word) {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
        if (!rest_.starts_with(word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }
    std::string take(std::size_t size) {
        check(rest_.size() >= size);
        const std::string taken(rest_.substr(0, size));
        rest_.remove_prefix(size);
        return taken;
    }
    /// Behind its opening quote.
    std::string string() {
        std::string result;
        for (std::string c = take(1); c != "\""; c = take(1)) {
            check(static_cast<unsigned char>(c[0]) >= 0x20);
            if (c == "\\") {
                c = take(1);
                check(c == "\"" || c == "\\" || c == "u");
                if (c == "u")
                    c = utf8Text(
                        std::u16string(1, static_cast<WCHAR>(std::stoi(take(4), nullptr, 16))));
            }
            result += c;
        }
        return result;
    }

    std::string_view rest_;
};

}  // namespace

Json Json::parse(const std::string& document) {
    EXPECT_EQ(utf8Text(wideText(document)), document) << "not UTF-8";
    try {
        Parser parser(document);
        const Json result = parser.value();
        parser.end();
        return result;
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
