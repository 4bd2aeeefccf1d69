#pragma once
// Cuts an interface definition file into words, and collects its `///` comments.

#include <string>
#include <string_view>
#include <vector>

#include "IdlModel.h"

namespace zlk::idl {

struct Token {
    enum class Kind : char { Name, Number, Text, Sign, End };
    Kind kind = Kind::End;
    std::string text;  ///< a Text stands here without its quotes
};

/// Looks one word ahead. An id isn't a word, since it may begin like a number or a name; where an
/// id must stand, the parser calls takeBracketedGuid().
class Scanner {
  public:
    explicit Scanner(std::string_view text);

    const Token& peek() const noexcept { return next_; }
    Token take();
    /// The line on which the word ahead begins.
    int line() const noexcept { return nextLine_; }
    /// The `///` lines since the last call, without their slashes.
    std::vector<std::string> takeComment();

    /// Reads an id with its parentheses, `(8-4-4-4-12)` in hexadecimal digits, whose `(` is the
    /// word ahead. Throws ParseError.
    Guid takeBracketedGuid();

    // Throws ParseError for the line of the word ahead.
    [[noreturn]] void fail(const std::string& reason) const;

  private:
    void advance();
    void skipBlank();
    void skipBlockComment();
    Token scanText();

    std::string_view text_;
    std::size_t at_ = 0;  // in text_, after the word ahead
    int line_ = 1;
    Token next_;
    int nextLine_ = 1;
    std::vector<std::string> comment_;
};

}  // namespace zlk::idl
