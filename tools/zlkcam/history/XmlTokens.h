#pragma once
// Cuts an XML document of any length into its tags and texts, so that no more of it than one of
// them is in memory. What stands inside of a tag or text is left to a real parser.

#include <string>
#include <string_view>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

struct XmlToken {
    enum class Kind { Start, Empty, End, Text };
    Kind kind = Kind::Text;
    std::string_view text;  ///< as it stands there, until the next token is read

    /// Of a tag, without its prefix.
    std::string_view localName() const;
};

class XmlTokens {
  public:
    explicit XmlTokens(ByteSource source);

    /// False at the end. A long text may come in several pieces; comments and processing
    /// instructions are skipped. Throws UnusableFile for what isn't XML in UTF-8, for a document
    /// type, for elements nested deeper or tags longer than anybody means it, and for an end
    /// between a start and its end.
    bool next(XmlToken& token);

  private:
    bool nextMarkup(XmlToken& token);
    void takeText(XmlToken& token);
    void takeTag(XmlToken& token);
    std::string_view rest() const { return std::string_view(buffer_).substr(at_); }
    /// Reads until `rest` has so many bytes, or up to the end.
    void need(std::size_t size);
    /// How much of `rest` there is up to and with `end`, which is searched for from `from` on.
    std::size_t lengthTo(std::string_view end, std::size_t from);
    std::size_t lengthOfTag();
    bool readMore();
    std::string_view take(std::size_t size);

    const ByteSource source_;
    std::string buffer_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
    bool isBegun_ = false;  ///< the root element is
    bool isAtEnd_ = false;
};

}  // namespace zlk
