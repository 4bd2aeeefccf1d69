#include "tools/zlkcam/unload/GlobPattern.h"

#include <algorithm>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

constexpr char16_t slash = u'/';

/// In patterns and in names a backslash becomes a slash, and letters become upper case.
char16_t comparable(char16_t unit) {
    return unit == u'\\' ? slash : upperCase(unit);
}

char16_t takeFront(std::u16string_view& text) {
    const char16_t front = text.front();
    text.remove_prefix(1);
    return front;
}

}  // namespace

bool GlobPattern::Token::takes(char16_t unitOfName) const {
    const bool isAmong = std::ranges::any_of(ranges, [&](const Range& range) {
        return range.first <= unitOfName && unitOfName <= range.last;
    });
    switch (kind) {
        case Kind::Unit:
            return unitOfName == unit;
        case Kind::AnyUnit:
            return unitOfName != slash;
        case Kind::OneOf:
            return isAmong && unitOfName != slash;
        case Kind::NoneOf:
            return !isAmong && unitOfName != slash;
        default:
            return false;
    }
}

bool GlobPattern::Token::repeats(char16_t unitOfName) const {
    return kind == Kind::DeepRun || (kind == Kind::Run && unitOfName != slash);
}

GlobPattern::GlobPattern(const std::string& text) {
    if (text.empty())
        throw Failure(ExitStatus::Usage, "A pattern for files is empty.",
                      "Give a name in which * stands for anything, as in \"*.JPG\".");
    // A leading slash only says that the whole path is meant.
    const std::size_t start = std::min(text.find_first_not_of("/\\"), text.size());
    std::u16string pattern = pathArgument(std::string_view(text).substr(start));
    std::ranges::transform(pattern, pattern.begin(), comparable);
    // Without a slash the pattern is compared with the name alone.
    isOfPath_ = start > 0 || pattern.find(slash) != pattern.npos;
    // A pattern that ends in a slash names a folder, and means all files in it, at any depth.
    if (pattern.empty() || pattern.ends_with(slash)) pattern += u"**";
    std::u16string_view rest = pattern;
    while (!rest.empty()) {
        if (rest.front() == u'*') {
            addRun(rest);
        } else if (rest.front() == u'[') {
            addSet(rest, text);
        } else {
            const char16_t unit = takeFront(rest);
            tokens_.push_back({unit == u'?' ? Token::Kind::AnyUnit : Token::Kind::Unit, unit});
        }
    }
}

void GlobPattern::addRun(std::u16string_view& rest) {
    const std::size_t stars = std::min(rest.find_first_not_of(u'*'), rest.size());
    rest.remove_prefix(stars);
    // `**/` at the start of a component may also stand for no folder at all: MaybeFolders lets the
    // matcher skip the run and the slash that follow it.
    const bool startsFolder = tokens_.empty() || (tokens_.back().kind == Token::Kind::Unit &&
                                                  tokens_.back().unit == slash);
    if (stars > 1 && startsFolder && rest.starts_with(slash))
        tokens_.push_back({Token::Kind::MaybeFolders});
    tokens_.push_back({stars > 1 ? Token::Kind::DeepRun : Token::Kind::Run});
}

void GlobPattern::addSet(std::u16string_view& rest, const std::string& text) {
    rest.remove_prefix(1);
    const bool isNegated = rest.starts_with(u'!') || rest.starts_with(u'^');
    if (isNegated) rest.remove_prefix(1);
    Token set{isNegated ? Token::Kind::NoneOf : Token::Kind::OneOf};
    // As in shells, a closing bracket in the first place is an ordinary character of the set.
    while (!rest.empty() && (rest.front() != u']' || set.ranges.empty())) {
        const char16_t first = takeFront(rest);
        const bool isRange = rest.size() > 1 && rest[0] == u'-' && rest[1] != u']';
        if (isRange) rest.remove_prefix(1);
        set.ranges.push_back({first, isRange ? takeFront(rest) : first});
        if (set.ranges.back().last < first)
            throw Failure(ExitStatus::Usage,
                          "In the pattern \"" + text + "\" a range in brackets is upside down.",
                          "Give the lower one first, as in [0-9].");
    }
    if (rest.empty())
        throw Failure(ExitStatus::Usage, "In the pattern \"" + text + "\" a bracket isn't closed.",
                      "A bracket that is part of a name is written [[].");
    rest.remove_prefix(1);
    tokens_.push_back(std::move(set));
}

bool GlobPattern::matches(std::u16string_view devicePath) const {
    if (isOfPath_)
        devicePath.remove_prefix(std::min(devicePath.find_first_not_of(u"/\\"), devicePath.size()));
    else
        devicePath = fileNameIn(devicePath);
    // Simulates a nondeterministic automaton: `reached` holds all places in the pattern to which
    // the text so far may lead. Each pair of place and character is tried only once, so that no
    // pattern, however many stars it has, takes exponential time.
    std::vector<bool> reached(tokens_.size() + 1), next(reached);
    reached.front() = true;
    follow(reached);
    for (const char16_t unit : devicePath) {
        step(reached, comparable(unit), next);
        reached.swap(next);
    }
    return reached.back();
}

void GlobPattern::follow(std::vector<bool>& reached) const {
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
        if (!reached[i]) continue;
        const Token::Kind kind = tokens_[i].kind;
        const bool isMaybe = kind == Token::Kind::MaybeFolders;
        if (isMaybe || kind == Token::Kind::Run || kind == Token::Kind::DeepRun)
            reached[i + 1] = true;
        // MaybeFolders is followed by the DeepRun and by the slash; the third place after it skips
        // both.
        if (isMaybe) reached[i + 3] = true;
    }
}

void GlobPattern::step(const std::vector<bool>& reached, char16_t upper,
                       std::vector<bool>& next) const {
    next.assign(next.size(), false);
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
        if (!reached[i]) continue;
        // A run may take this character and stay where it is.
        if (tokens_[i].repeats(upper)) next[i] = true;
        if (tokens_[i].takes(upper)) next[i + 1] = true;
    }
    follow(next);
}

}  // namespace zlk
