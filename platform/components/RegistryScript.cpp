#include "platform/components/RegistryScript.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr int maxDepth = 32;
constexpr std::size_t maxName = 255;  // units: as many as a key's name may have

struct Token {
    enum class Kind { Word, Text, End };  // a Text stood in quotes and is never a keyword
    Kind kind = Kind::End;
    std::u16string text;
};

bool isBlank(char16_t unit) {
    return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

// A recursive-descent parser that looks one token ahead.
class ScriptParser {
  public:
    ScriptParser(std::u16string_view text, std::span<const RegistrarWord> words)
        : text_(text), words_(words) {
        advance();
    }

    std::vector<ScriptRoot> script() {
        std::vector<ScriptRoot> roots;
        while (next_.kind != Token::Kind::End) {
            ScriptRoot root{};
            if (accept(u"HKCR") || accept(u"HKEY_CLASSES_ROOT")) {
                root.key = HKEY_CLASSES_ROOT;
            } else if (accept(u"HKLM") || accept(u"HKEY_LOCAL_MACHINE")) {
                root.key = HKEY_LOCAL_MACHINE;
            } else {
                fail("a root key expected");
            }
            ScriptKey top;
            block(top, 1);
            if (!top.values.empty()) fail("a value of a root key");
            root.keys = std::move(top.keys);
            roots.push_back(std::move(root));
        }
        return roots;
    }

  private:
    [[noreturn]] void fail(const char* reason) const { throw ScriptError(nextLine_, reason); }

    char16_t ahead() const { return at_ < text_.size() ? text_[at_] : u'\0'; }

    /// Reads the next token. Words are separated by blanks alone: a brace inside a word doesn't
    /// open a block.
    void advance() {
        for (; at_ < text_.size() && isBlank(text_[at_]); ++at_)
            if (text_[at_] == u'\n') ++line_;
        nextLine_ = line_;
        next_ = {};
        if (at_ == text_.size()) return;
        if (text_[at_] == u'\'') {
            quoted();
            return;
        }
        next_.kind = Token::Kind::Word;
        while (at_ < text_.size() && !isBlank(text_[at_])) next_.text += text_[at_++];
    }

    // Reads a text in quotes; two quotes in a row mean one.
    void quoted() {
        next_.kind = Token::Kind::Text;
        for (++at_; at_ < text_.size(); ++at_) {
            if (text_[at_] == u'\n') fail("a text that doesn't end on its line");
            if (text_[at_] == u'\'') {
                ++at_;
                if (ahead() != u'\'') {
                    if (at_ < text_.size() && !isBlank(ahead())) fail("a blank expected");
                    return;
                }
            }
            next_.text += text_[at_];
        }
        fail("a text that doesn't end");
    }

    // Takes the next token if it is this keyword or sign, in any case. A quoted text is neither.
    bool accept(std::u16string_view word) {
        if (next_.kind != Token::Kind::Word || !equalIgnoringCase(next_.text, word)) return false;
        advance();
        return true;
    }

    /// Takes a name or text and replaces the words between % and % in it. Because that happens
    /// after the script was cut into tokens, a quote or blank in a replacement can't end the text.
    std::u16string text() {
        if (next_.kind == Token::Kind::End) fail("the script breaks off");
        std::u16string result;
        std::u16string_view rest = next_.text;
        for (std::size_t mark; (mark = rest.find(u'%')) != rest.npos;) {
            const std::size_t end = rest.find(u'%', mark + 1);
            if (end == rest.npos) fail("a % without its partner");
            result += rest.substr(0, mark);
            result += replacement(rest.substr(mark + 1, end - mark - 1));
            rest.remove_prefix(end + 1);
        }
        result += rest;
        if (result.find(u'\0') != result.npos) fail("a zero in a text");
        advance();
        return result;
    }

    std::u16string_view replacement(std::u16string_view word) const {
        for (const RegistrarWord& known : words_)
            if (known.name == word) return known.text;
        fail("an unknown word between % and %");
    }

    std::u16string name() {
        // A sign in the place of a name is a mistake, unless it stands in quotes.
        for (const std::u16string_view sign : {u"{", u"}", u"="})
            if (next_.kind == Token::Kind::Word && next_.text == sign) fail("a name expected");
        std::u16string made = text();
        if (made.empty() || made.size() > maxName || made.find(u'\\') != made.npos)
            fail("a name has 1 to 255 units and no backslash");
        return made;
    }

    void block(ScriptKey& key, int depth) {
        if (depth > maxDepth) fail("keys are nested too deep");
        if (!accept(u"{")) fail("{ expected");
        while (!accept(u"}")) {
            if (accept(u"val")) {
                std::u16string valueName = name();
                if (!accept(u"=")) fail("= expected");
                key.values.push_back(value(std::move(valueName)));
            } else {
                key.keys.push_back(subKey(depth));
            }
        }
    }

    ScriptKey subKey(int depth) {
        ScriptKey key;
        for (;;) {
            if (accept(u"ForceRemove")) {
                key.forceRemove = true;
            } else if (accept(u"NoRemove")) {
                key.noRemove = true;
            } else {
                break;
            }
        }
        if (accept(u"Delete")) fail("Delete isn't known here");
        key.name = name();
        if (accept(u"=")) key.values.push_back(value({}));
        if (next_.kind == Token::Kind::Word && next_.text == u"{") block(key, depth + 1);
        return key;
    }

    ScriptValue value(std::u16string valueName) {
        ScriptValue made{std::move(valueName), REG_SZ, {}};
        if (accept(u"s")) {
            const std::u16string data = text();
            const auto* bytes = reinterpret_cast<const BYTE*>(data.c_str());
            made.data.assign(bytes, bytes + (data.size() + 1) * sizeof(WCHAR));
        } else if (accept(u"d")) {
            made.type = REG_DWORD;
            const DWORD data = number(text());
            made.data.resize(sizeof data);
            std::memcpy(made.data.data(), &data, sizeof data);
        } else {
            fail("s or d expected");
        }
        return made;
    }

    // Reads a decimal number, or a hexadecimal one after 0x, of up to 32 bits.
    DWORD number(std::u16string_view digits) const {
        const bool hex = digits.starts_with(u"0x");
        if (hex) digits.remove_prefix(2);
        std::uint64_t sum = 0;
        for (const char16_t unit : digits) {
            unsigned digit = unit - u'0';
            if (const unsigned letter = (unit | 0x20u) - u'a'; hex && letter < 6)
                digit = letter + 10;
            else if (digit > 9)
                fail("a number expected");
            sum = sum * (hex ? 16 : 10) + digit;
            if (sum > UINT32_MAX) fail("a number beyond 32 bits");
        }
        if (digits.empty()) fail("a number expected");
        return static_cast<DWORD>(sum);
    }

    std::u16string_view text_;
    std::span<const RegistrarWord> words_;
    std::size_t at_ = 0;  // in text_, after the token ahead
    int line_ = 1;        // of at_
    Token next_;          // the token ahead
    int nextLine_ = 1;    // of the token ahead, for messages
};

}  // namespace

std::vector<ScriptRoot> parseRegistryScript(std::u16string_view text,
                                            std::span<const RegistrarWord> words) {
    return ScriptParser(text, words).script();
}

}  // namespace zlk::platform
