#pragma once
// Patterns of file names with wildcards, as shells have them, for --only and --except.
//
// `?` stands for one character, `*` for any number of characters, `[a-z]` for one of a set, and
// `[!a-z]` for one that isn't in the set; none of these stands for a slash. `**` stands for
// slashes, too, and a folder called `**` for any number of folders, also for none. Slashes and
// backslashes separate folders, so that a path may be pasted from a listing. Letters match in
// either case.

#include <string>
#include <string_view>
#include <vector>

namespace zlk {

/// A pattern that was parsed once and is compared with many names.
class GlobPattern {
  public:
    /// Throws Failure (Usage) for a pattern that can't be understood.
    explicit GlobPattern(const std::string& text);

    /// `devicePath` is a path below the device's root. A pattern that holds a slash is compared
    /// with the whole path, any other one with the file's name. Takes time proportional to the
    /// product of both lengths at most.
    bool matches(std::u16string_view devicePath) const;

  private:
    // Characters from `first` to `last`, both included.
    struct Range {
        char16_t first, last;
    };
    // A piece of the pattern. Run is `*`, DeepRun `**`. MaybeFolders comes before the DeepRun of a
    // folder `**/`.
    struct Token {
        enum class Kind { Unit, AnyUnit, OneOf, NoneOf, Run, DeepRun, MaybeFolders };
        Kind kind;
        char16_t unit = 0;            ///< in upper case
        std::vector<Range> ranges{};  ///< in upper case

        /// Whether the token stands for this character, and the next token follows.
        bool takes(char16_t upper) const;
        /// Whether the token stands for this character, and may stand for more.
        bool repeats(char16_t upper) const;
    };

    void addRun(std::u16string_view& rest);
    void addSet(std::u16string_view& rest, const std::string& text);
    /// Adds to `reached` the places of the pattern that need no further character.
    void follow(std::vector<bool>& reached) const;
    /// Sets in `next` the places to which one more character leads from those in `reached`.
    void step(const std::vector<bool>& reached, char16_t upper, std::vector<bool>& next) const;

    std::vector<Token> tokens_;
    bool isOfPath_ = false;
};

}  // namespace zlk
