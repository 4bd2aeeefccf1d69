#pragma once
#include <string>
#include <string_view>

#include "interfaces/IXmlDoc.h"

namespace zlk {

/// One document of the XML component (see IXmlDoc.h for its paths), which lives as long as this.
/// Where the component can't be created, every operation fails and the document reads as empty.
class XmlDocument {
  public:
    XmlDocument() noexcept { document_.create(CLSID_XmlDoc); }

    /// Replaces the document by the parsed text; false if it isn't well formed.
    bool load(std::u16string_view text);
    /// The whole document; empty on failure.
    std::u16string xml() const;

    /// The text of an element; false if there is no such element. `text` is empty then.
    bool value(std::u16string_view path, std::u16string& text) const;
    bool setValue(std::u16string_view path, std::u16string_view text);
    bool attribute(std::u16string_view path, std::u16string_view name, std::u16string& text) const;

    /// Adds a parsed fragment as the last child of the element at `path`, at `/` as the root.
    bool addFragment(std::u16string_view path, std::u16string_view xml);

    /// Adds the element `name`, which is the first of its name there, with its text. The text is
    /// set and never parsed, and what no document may hold is replaced in it (see legalXmlText):
    /// a device's own texts can't keep a record out of a list.
    bool addElement(std::u16string_view parent, std::u16string_view name, std::u16string_view text);

  private:
    ComPtr<IXmlDoc> document_;
};

/// The text with another unit in the place of each that no XML document may hold: U+F000 and the
/// code for a control character, as in the names of a card's files; U+FFFD for half a surrogate
/// pair and for U+FFFE and U+FFFF.
std::u16string legalXmlText(std::u16string_view text);

}  // namespace zlk
