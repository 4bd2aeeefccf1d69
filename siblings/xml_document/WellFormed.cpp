#include "siblings/xml_document/WellFormed.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace zlk {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::array<std::string_view, 5> knownEntities{"amp", "lt", "gt", "quot", "apos"};

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Any byte of a multi-byte character counts as part of a name.
bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isNamePart(char c) {
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

/// The characters that the XML standard allows in a document.
bool isXmlCharacter(unsigned code) {
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code < 0xD800) ||
           (code >= 0xE000 && code < 0xFFFE) || (code >= 0x10000 && code < 0x110000);
}

/// Whether the text between `&` and `;` stands for exactly one character.
bool isReference(std::string_view body) {
    if (!body.starts_with('#')) {
        return std::find(knownEntities.begin(), knownEntities.end(), body) != knownEntities.end();
    }
    body.remove_prefix(1);
    const bool hexadecimal = body.starts_with('x');
    if (hexadecimal) body.remove_prefix(1);
    unsigned code = 0;
    const char* const end = body.data() + body.size();
    const auto read = std::from_chars(body.data(), end, code, hexadecimal ? 16 : 10);
    return read.ec == std::errc() && read.ptr == end && isXmlCharacter(code);
}

/// The functions move `at_` past what they accept. They return false if the text ends too early or
/// isn't as it has to be. skipSpaces() returns false if there is no white space.
class Scanner {
  public:
    Scanner(std::string_view text, std::size_t maxDepth) : text_(text), maxDepth_(maxDepth) {}

    /// The root element, if the whole text is a well-formed document.
    std::optional<std::string_view> root() {
        skip(byteOrderMark);
        // The declaration, if there is one, must be at the very beginning.
        if (text_.substr(at_).starts_with("<?xml") && at_ + 5 < text_.size() &&
            isSpace(text_[at_ + 5]) && !skipBehind("?>")) {
            return std::nullopt;
        }
        if (!misc(true)) return std::nullopt;
        const std::size_t begin = at_;
        if (!element()) return std::nullopt;
        const std::size_t end = at_;
        // After the root, nothing but comments, instructions and white space may follow.
        if (!misc(false) || at_ != text_.size()) return std::nullopt;
        return text_.substr(begin, end - begin);
    }

  private:
    bool skip(std::string_view word) {
        if (!text_.substr(at_).starts_with(word)) return false;
        at_ += word.size();
        return true;
    }

    /// Moves past the next occurrence of `word`.
    bool skipBehind(std::string_view word) {
        const std::size_t found = text_.find(word, at_);
        if (found == std::string_view::npos) return false;
        at_ = found + word.size();
        return true;
    }

    bool skipSpaces() {
        const std::size_t begin = at_;
        while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
        return at_ != begin;
    }

    bool name(std::string_view& found) {
        const std::size_t begin = at_;
        if (at_ == text_.size() || !isNameStart(text_[at_])) return false;
        while (at_ < text_.size() && isNamePart(text_[at_])) ++at_;
        found = text_.substr(begin, at_ - begin);
        return true;
    }

    /// White space, comments and instructions around the root, and before the root also one
    /// document type.
    bool misc(bool beforeRoot) {
        for (;;) {
            skipSpaces();
            if (skip("<!--")) {
                if (!comment()) return false;
            } else if (skip("<?")) {
                if (!instruction()) return false;
            } else if (beforeRoot && skip("<!DOCTYPE")) {
                beforeRoot = false;
                if (!documentType()) return false;
            } else {
                return true;
            }
        }
    }

    bool comment() { return skipBehind("--") && skip(">"); }

    bool instruction() {
        std::string_view target;
        return name(target) && target != "xml" && skipBehind("?>");
    }

    /// The rest of a document type. One that contains definitions is refused, since its entities
    /// would have to be expanded or be lost.
    bool documentType() {
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '>') return true;
            // Definitions are enclosed in `[` and `]`, and each begins with `<`.
            if (c == '[' || c == '<') return false;
            if ((c == '"' || c == '\'') && !skipBehind({&text_[at_ - 1], 1})) return false;
        }
        return false;
    }

    /// An element with everything in it. The stack `open_` takes the place of recursion.
    bool element() {
        do {
            if (skip("<!--")) {
                if (!comment()) return false;
            } else if (skip("<![CDATA[")) {
                if (open_.empty() || ++nodes_ > maxXmlNodes || !skipBehind("]]>")) return false;
            } else if (skip("<?")) {
                if (!instruction()) return false;
            } else if (skip("</")) {
                if (!endTag()) return false;
            } else if (!skip("<") || !startTag()) {
                return false;
            }
        } while (!open_.empty() && text());
        return open_.empty();
    }

    bool startTag() {
        std::string_view tag;
        if (open_.size() == maxDepth_ || ++nodes_ > maxXmlNodes || !name(tag)) return false;
        attributes_.clear();
        for (;;) {
            // White space has to precede each attribute.
            const bool apart = skipSpaces();
            if (skip("/>")) break;
            if (skip(">")) {
                open_.push_back(tag);
                break;
            }
            if (!apart || !attribute()) return false;
        }
        // No attribute may occur twice.
        std::sort(attributes_.begin(), attributes_.end());
        return std::adjacent_find(attributes_.begin(), attributes_.end()) == attributes_.end();
    }

    bool endTag() {
        std::string_view tag;
        if (!name(tag) || open_.empty() || tag != open_.back()) return false;
        open_.pop_back();
        skipSpaces();
        return skip(">");
    }

    bool attribute() {
        std::string_view attributeName;
        if (++nodes_ > maxXmlNodes || !name(attributeName)) return false;
        attributes_.push_back(attributeName);
        skipSpaces();
        if (!skip("=")) return false;
        skipSpaces();
        if (at_ == text_.size()) return false;
        const char quote = text_[at_++];
        if (quote != '"' && quote != '\'') return false;
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == quote) return true;
            if (c == '<' || (c == '&' && !reference())) return false;
        }
        return false;
    }

    /// The text up to the next tag, which must follow.
    bool text() {
        const std::size_t begin = at_;
        for (; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == '<') return at_ == begin || ++nodes_ <= maxXmlNodes;
            if (c == '&') {
                ++at_;
                if (!reference()) return false;
                --at_;
            } else if (c == ']' && text_.substr(at_).starts_with("]]>")) {
                return false;
            }
        }
        return false;
    }

    /// The rest of a reference, whose `&` has been read.
    bool reference() {
        const std::size_t begin = at_;
        return skipBehind(";") && isReference(text_.substr(begin, at_ - 1 - begin));
    }

    std::string_view text_;
    std::size_t maxDepth_;
    std::size_t at_ = 0;
    std::size_t nodes_ = 0;                     // counted against maxXmlNodes
    std::vector<std::string_view> open_;        // names of the elements that aren't closed yet
    std::vector<std::string_view> attributes_;  // names in the tag that is being read
};

}  // namespace

bool isXmlText(std::u16string_view text) noexcept {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit >= 0x20 && unit < 0xD800) continue;
        const bool pair = unit >= 0xD800 && unit < 0xDC00 && i + 1 < text.size() &&
                          text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
        if (pair) {
            ++i;
        } else if (!isXmlCharacter(unit)) {
            return false;
        }
    }
    return true;
}

std::optional<std::string_view> rootOfDocument(std::string_view utf8, std::size_t maxDepth) {
    return Scanner(utf8, maxDepth).root();
}

}  // namespace zlk
