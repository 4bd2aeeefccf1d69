#pragma once
// Cuts an XML document of any length into tags and texts, so that memory needn't hold all of it.
// The contents of a tag or text are left to a real parser.

#include <string>
#include <string_view>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

/// A tag or a piece of text. Empty is a tag that is a whole element, as `<x/>`.
struct XmlToken {
    enum class Kind { Start, Empty, End, Text };
    Kind kind = Kind::Text;
    std::string_view text;  ///< as in the document; valid until the next token is read

    /// The name of a tag without its prefix.
    std::string_view localName() const;
};

/// Gives the tokens of one document in their order. Used by one thread.
class XmlTokens {
  public:
    explicit XmlTokens(ByteSource source);

    /// Reads the next token; false at the end of the document. A long text may come in several
    /// pieces; comments and processing instructions are skipped. Throws UnusableFile for a document
    /// type, for tags and comments that are too long, for elements that are nested too deeply, for
    /// a document that is cut off, and for some violations of XML. Other violations aren't noticed
    /// here.
    bool next(XmlToken& token);

  private:
    /// Takes what begins with `<`. False if that was a comment or an instruction, which gives no
    /// token.
    bool nextMarkup(XmlToken& token);
    void takeText(XmlToken& token);
    void takeTag(XmlToken& token);
    std::string_view rest() const { return std::string_view(buffer_).substr(at_); }
    /// Reads until `rest` has this many bytes, or up to the end of the document.
    void need(std::size_t size);
    /// The length of `rest` up to and including `end`, which is searched from `from` on.
    std::size_t lengthTo(std::string_view end, std::size_t from);
    /// The length of the tag at the start of `rest`.
    std::size_t lengthOfTag();
    /// Reads another block; false at the end of the document.
    bool readMore();
    /// Takes bytes off the front of `rest`.
    std::string_view take(std::size_t size);

    const ByteSource source_;
    std::string buffer_;
    // Where `rest` begins in `buffer_`.
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
    bool isBegun_ = false;  ///< the root element has begun
    bool isAtEnd_ = false;
};

}  // namespace zlk
