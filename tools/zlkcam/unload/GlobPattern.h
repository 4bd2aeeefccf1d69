#pragma once
// Patterns of file names, as shells have them.
//
// `?` stands for one character, `*` for any number of them, `[a-z]` and `[!a-z]` for one that is
// among some, or isn't; none of these for a slash. `**` stands for slashes too, and a folder `**`
// for any number of folders, none among them. Both slashes separate folders, so that a path may be
// pasted from a listing. Letters match without case.

#include <string>
#include <string_view>
#include <vector>

namespace zlk {

class GlobPattern {
  public:
    /// Throws Failure (Usage) for one that can't be understood.
    explicit GlobPattern(const std::string& text);

    /// `devicePath` is below the device's root. A pattern that holds a slash is of the whole path,
    /// and any other one of the file's name. Takes no more time than both lengths multiplied.
    bool matches(std::u16string_view devicePath) const;

  private:
    struct Range {
        char16_t first, last;
    };
    struct Token {
        enum class Kind { Unit, AnyUnit, OneOf, NoneOf, Run, DeepRun, MaybeFolders };
        Kind kind;
        char16_t unit = 0;            ///< in upper case
        std::vector<Range> ranges{};  ///< in upper case

        bool takes(char16_t upper) const;
        bool repeats(char16_t upper) const;
    };

    void addRun(std::u16string_view& rest);
    void addSet(std::u16string_view& rest, const std::string& text);
    void follow(std::vector<bool>& reached) const;
    void step(const std::vector<bool>& reached, char16_t upper, std::vector<bool>& next) const;

    std::vector<Token> tokens_;
    bool isOfPath_ = false;
};

}  // namespace zlk
