#include "siblings/xml_document/XmlWriter.h"

#include <array>
#include <string_view>
#include <utility>

namespace zlk {
namespace {

/// Counts the UTF-16 units of the text, so that it can be allocated in its final size.
class UnitCounter {
  public:
    void add(std::string_view utf8) {
        for (const char c : utf8) {
            const auto byte = static_cast<unsigned char>(c);
            units_ += ((byte & 0xC0) != 0x80) + (byte >= 0xF0);
        }
    }
    std::size_t units() const { return units_; }

  private:
    std::size_t units_ = 0;
};

/// Writes into memory of the counted size. A tree has only valid UTF-8, so nothing is checked.
class UnitFiller {
  public:
    explicit UnitFiller(WCHAR* at) : at_(at) {}

    void add(std::string_view utf8) {
        WCHAR* at = at_;
        for (std::size_t i = 0; i < utf8.size(); ++i) {
            const auto byte = static_cast<unsigned char>(utf8[i]);
            if (byte < 0x80) {
                *at++ = byte;
                continue;
            }
            // A multi-byte character: the first byte tells how many follow, and each of those has 6
            // bits of the code.
            const int more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
            unsigned code = byte & (0x3F >> more);
            for (int k = 0; k < more; ++k) code = code << 6 | (utf8[++i] & 0x3F);
            if (code < 0x10000) {
                *at++ = static_cast<WCHAR>(code);
            } else {
                *at++ = static_cast<WCHAR>(0xD7C0 + (code >> 10));
                *at++ = static_cast<WCHAR>(0xDC00 + (code & 0x3FF));
            }
        }
        at_ = at;
    }

  private:
    WCHAR* at_;
};

/// Characters that must be escaped, in a text or in an attribute.
class Specials {
  public:
    explicit constexpr Specials(std::string_view characters) {
        for (const char c : characters) marked_[static_cast<unsigned char>(c)] = true;
    }
    /// The index of the first character to be escaped; the size of the text if there is none.
    std::size_t first(std::string_view text) const {
        std::size_t i = 0;
        while (i < text.size() && !marked_[static_cast<unsigned char>(text[i])]) ++i;
        return i;
    }

  private:
    std::array<bool, 256> marked_{};
};
constexpr Specials inText("&<>\r");
constexpr Specials inAttribute("&<>\"\t\n\r");

std::string_view escaped(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\t':
            return "&#9;";
        case '\n':
            return "&#10;";
        default:
            return "&#13;";
    }
}

template <class Sink>
void writeText(Sink& sink, std::string_view text, const Specials& specials) {
    while (!text.empty()) {
        const std::size_t plain = specials.first(text);
        sink.add(text.substr(0, plain));
        if (plain == text.size()) return;
        sink.add(escaped(text[plain]));
        text.remove_prefix(plain + 1);
    }
}

/// Whether the element has neither text nor child elements. A text node without characters, which
/// setting an empty text may leave, doesn't count.
bool isEmpty(pugi::xml_node element) {
    if (*element.value()) return false;
    for (pugi::xml_node node = element.first_child(); node; node = node.next_sibling()) {
        // The value of a folded element is its markup, so it counts here too.
        if (node.type() == pugi::node_element || *node.value()) return false;
    }
    return true;
}

/// Recurses as deep as the tree, which WellFormed.h limits.
template <class Sink>
void writeElement(Sink& sink, pugi::xml_node element) {
    const std::string_view name = element.name();
    sink.add("<");
    sink.add(name);
    for (auto attribute = element.first_attribute(); attribute;
         attribute = attribute.next_attribute()) {
        sink.add(" ");
        sink.add(attribute.name());
        sink.add("=\"");
        writeText(sink, attribute.value(), inAttribute);
        sink.add("\"");
    }
    if (isEmpty(element)) {
        sink.add("/>");
        return;
    }
    sink.add(">");
    writeText(sink, element.value(), inText);
    for (pugi::xml_node node = element.first_child(); node; node = node.next_sibling()) {
        if (node.type() == pugi::node_element) {
            writeElement(sink, node);
        } else if (node.type() == foldedElement) {
            sink.add(node.value());
        } else {
            writeText(sink, node.value(), inText);
        }
    }
    sink.add("</");
    sink.add(name);
    sink.add(">");
}

class Utf8Writer {
  public:
    void add(std::string_view utf8) { text.append(utf8); }
    std::string text;
};

}  // namespace

std::string markupOf(pugi::xml_node element) {
    Utf8Writer writer;
    writeElement(writer, element);
    return std::move(writer.text);
}

Bstr writeXml(pugi::xml_node element) {
    // The element is written twice: first to count, and then into memory of the right size.
    UnitCounter counter;
    writeElement(counter, element);
    Bstr text;
    // A BSTR stores its length, in bytes, in 32 bits.
    if (counter.units() > 0x7FFFFFF0) return text;
    *text.out() = SysAllocStringLen(nullptr, static_cast<UINT>(counter.units()));
    if (text.get()) {
        UnitFiller filler(text.get());
        writeElement(filler, element);
    }
    return text;
}

}  // namespace zlk
