#include "IdlScanner.h"

#include <algorithm>
#include <utility>

#include "IdlParser.h"

namespace zlk::idl {
namespace {

// The functions of <cctype> depend on the locale; definition files don't.
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isNameUnit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
int hexDigit(char c) {
    if (isDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

Scanner::Scanner(std::string_view text) : text_(text) {
    advance();
}

Token Scanner::take() {
    Token token = std::move(next_);
    advance();
    return token;
}

std::vector<std::string> Scanner::takeComment() {
    return std::exchange(comment_, {});
}

Guid Scanner::takeBracketedGuid() {
    constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (next_.text != "(") fail("( expected");
    Guid id{};
    std::size_t digits = 0;
    for (const char expected : form) {
        const char c = at_ < text_.size() ? text_[at_++] : '\0';
        const int digit = hexDigit(c);
        if (expected == '-' ? c != '-' : digit < 0) fail("an id has the form 8-4-4-4-12");
        if (expected == '-') continue;
        id[digits / 2] = static_cast<std::uint8_t>(id[digits / 2] << 4 | digit);
        ++digits;
    }
    advance();
    if (take().text != ")") fail("an id has the form 8-4-4-4-12");
    return id;
}

void Scanner::fail(const std::string& reason) const {
    throw ParseError(nextLine_, reason);
}

void Scanner::advance() {
    skipBlank();
    nextLine_ = line_;
    if (at_ == text_.size()) {
        next_ = {};
        return;
    }
    if (text_[at_] == '"') {
        next_ = scanText();
        return;
    }
    const std::size_t begin = at_;
    if (!isNameUnit(text_[at_])) {
        next_ = {Token::Kind::Sign, std::string(1, text_[at_++])};
        return;
    }
    const bool number = isDigit(text_[at_]);
    while (at_ < text_.size() && (isNameUnit(text_[at_]) || (number && text_[at_] == '.'))) ++at_;
    next_ = {number ? Token::Kind::Number : Token::Kind::Name,
             std::string(text_.substr(begin, at_ - begin))};
}

void Scanner::skipBlank() {
    while (at_ < text_.size()) {
        const std::string_view rest = text_.substr(at_);
        if (rest[0] == '\n') {
            ++line_;
            ++at_;
        } else if (rest[0] == ' ' || rest[0] == '\t' || rest[0] == '\r') {
            ++at_;
        } else if (rest.starts_with("//")) {
            std::string_view line = rest.substr(0, rest.find('\n'));
            at_ += line.size();
            // Only lines with three slashes are documentation, which goes into the header.
            if (!line.starts_with("///")) continue;
            line.remove_prefix(line.starts_with("/// ") ? 4 : 3);
            if (line.ends_with('\r')) line.remove_suffix(1);
            comment_.emplace_back(line);
        } else if (rest.starts_with("/*")) {
            skipBlockComment();
        } else {
            return;
        }
    }
}

void Scanner::skipBlockComment() {
    const std::size_t end = text_.find("*/", at_ + 2);
    if (end == std::string_view::npos) throw ParseError(line_, "a comment that doesn't end");
    const std::string_view comment = text_.substr(at_, end - at_);
    line_ += static_cast<int>(std::count(comment.begin(), comment.end(), '\n'));
    at_ = end + 2;
}

Token Scanner::scanText() {
    const std::size_t begin = ++at_;
    at_ = text_.find_first_of("\"\n", begin);
    if (at_ == std::string_view::npos || text_[at_] == '\n')
        throw ParseError(line_, "a text that doesn't end on its line");
    return {Token::Kind::Text, std::string(text_.substr(begin, at_++ - begin))};
}

}  // namespace zlk::idl
