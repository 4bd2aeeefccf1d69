#pragma once
// Cuts an interface definition file into words.

#include <string>
#include <string_view>
#include <vector>

#include "IdlModel.h"

namespace zlk::idl {

struct Token {
    enum class Kind : char { Name, Number, Text, Sign, End };
    Kind kind = Kind::End;
    std::string text;  ///< of a Text without its quotes
};

/// A word ahead of what has been taken; ids are no words and are read where one is due.
class Scanner {
  public:
    explicit Scanner(std::string_view text);

    const Token& peek() const noexcept { return next_; }
    Token take();
    /// The line on which the word ahead begins.
    int line() const noexcept { return nextLine_; }
    /// The `///` lines since the last call.
    std::vector<std::string> takeComment();

    /// Reads `(8-4-4-4-12)`, whose `(` is the word ahead.
    Guid takeBracketedGuid();

    [[noreturn]] void fail(const std::string& reason) const;

  private:
    void advance();
    void skipBlank();
    void skipBlockComment();
    Token scanText();

    std::string_view text_;
    std::size_t at_ = 0;
    int line_ = 1;
    Token next_;
    int nextLine_ = 1;
    std::vector<std::string> comment_;
};

}  // namespace zlk::idl
