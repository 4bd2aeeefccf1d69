#include "tools/zlkcam/history/XmlTokens.h"

#include <algorithm>
#include <utility>

namespace zlk {
namespace {

// No real manifest reaches the limits `longestTag` and `deepest`; they keep a malicious one from
// filling the memory.
constexpr std::size_t blockSize = 64 * 1024, longestTag = 1 << 20, deepest = 64;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF", white = " \t\r\n";

}  // namespace

std::string_view XmlToken::localName() const {
    std::string_view name = text.substr(text.starts_with("</") ? 2 : 1);
    name = name.substr(0, name.find_first_of(" \t\r\n/>"));
    return name.substr(name.find(':') + 1);
}

XmlTokens::XmlTokens(ByteSource source) : source_(std::move(source)) {
    need(byteOrderMark.size());
    if (rest().starts_with(byteOrderMark)) at_ += byteOrderMark.size();
}

bool XmlTokens::next(XmlToken& token) {
    for (;;) {
        need(1);
        if (rest().empty()) {
            if (depth_ > 0 || !isBegun_) throw UnusableFile("it ends in the middle");
            return false;
        }
        if (rest().front() == '<') {
            if (nextMarkup(token)) return true;
            continue;
        }
        // Outside of the root only white space is allowed.
        takeText(token);
        if (depth_ > 0) return true;
        if (token.text.find_first_not_of(white) != token.text.npos)
            throw UnusableFile("it isn't XML in UTF-8");
    }
}

bool XmlTokens::nextMarkup(XmlToken& token) {
    constexpr std::string_view comment = "<!--", characters = "<![CDATA[";
    need(characters.size());
    if (rest().starts_with(comment)) {
        take(lengthTo("-->", comment.size()));
        return false;
    }
    if (rest().starts_with("<?")) {
        take(lengthTo("?>", 2));
        return false;
    }
    if (rest().starts_with(characters) && depth_ > 0) {
        token = {XmlToken::Kind::Text, take(lengthTo("]]>", characters.size()))};
        return true;
    }
    // No manifest needs a document type, and its entities could expand a few bytes to gigabytes.
    if (rest().starts_with("<!")) throw UnusableFile("it has a document type");
    takeTag(token);
    return true;
}

void XmlTokens::takeText(XmlToken& token) {
    const std::size_t length = std::min(rest().find('<'), rest().size());
    token = {XmlToken::Kind::Text, take(length)};
}

void XmlTokens::takeTag(XmlToken& token) {
    const std::string_view tag = take(lengthOfTag());
    using enum XmlToken::Kind;
    token = {tag.starts_with("</") ? End : tag.ends_with("/>") ? Empty : Start, tag};
    if (token.localName().empty()) throw UnusableFile("it isn't XML");
    if (depth_ == 0 && (isBegun_ || token.kind == End))
        throw UnusableFile("it has more than one root element");
    isBegun_ = true;
    if (token.kind == Start && ++depth_ > deepest)
        throw UnusableFile("its elements are nested too deeply");
    if (token.kind == End) --depth_;
}

void XmlTokens::need(std::size_t size) {
    while (rest().size() < size && readMore()) {
    }
}

std::size_t XmlTokens::lengthTo(std::string_view end, std::size_t from) {
    for (;;) {
        const std::size_t found = rest().find(end, from);
        if (found != std::string_view::npos) return found + end.size();
        // What was searched isn't searched again, except the last bytes, which may begin `end`.
        from = std::max(from, rest().size() - std::min(rest().size(), end.size() - 1));
        if (!readMore()) throw UnusableFile("it ends in the middle");
    }
}

std::size_t XmlTokens::lengthOfTag() {
    char quote = 0;
    // A `>` inside of quotes belongs to the value of an attribute.
    for (std::size_t i = 1;; ++i) {
        need(i + 1);
        if (i >= rest().size()) throw UnusableFile("it ends in the middle");
        const char c = rest()[i];
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return i + 1;
        } else if (c == '<') {
            throw UnusableFile("it isn't XML");
        }
    }
}

bool XmlTokens::readMore() {
    if (isAtEnd_) return false;
    if (rest().size() > longestTag) throw UnusableFile("it has a tag of more than a megabyte");
    // What was taken leaves the buffer here and not in `take`, because the last token still points
    // into it until the next one is read.
    buffer_.erase(0, std::exchange(at_, 0));
    const std::size_t kept = buffer_.size();
    buffer_.resize(kept + blockSize);
    const std::size_t read = source_(std::span(buffer_).subspan(kept));
    buffer_.resize(kept + read);
    isAtEnd_ = read == 0;
    return !isAtEnd_;
}

std::string_view XmlTokens::take(std::size_t size) {
    const std::string_view taken = rest().substr(0, size);
    at_ += size;
    return taken;
}

}  // namespace zlk
