#pragma once
// XML documents, through the XML component.

#include <string>
#include <string_view>

#include "interfaces/IXmlDoc.h"

namespace zlk {

/// One document of the XML component; IXmlDoc.h describes the paths. Where the component can't be
/// created, every operation fails and the document reads as empty. All functions may throw
/// std::bad_alloc. Not thread-safe.
class XmlDocument {
  public:
    XmlDocument() noexcept { document_.create(CLSID_XmlDoc); }

    /// Replaces the document with the parsed text. False, with the document unchanged, if the text
    /// isn't well-formed or exceeds a limit of the component.
    bool load(std::u16string_view text);
    /// The whole document as text; empty on failure.
    std::u16string xml() const;

    /// The text of an element. False if there is no such element; `text` is empty then.
    bool value(std::u16string_view path, std::u16string& text) const;
    bool setValue(std::u16string_view path, std::u16string_view text);
    bool attribute(std::u16string_view path, std::u16string_view name, std::u16string& text) const;

    /// Parses a single element and adds it as the last child of the element at `path`. At `/` it
    /// becomes the root, if the document has none yet. False on failure.
    bool addFragment(std::u16string_view path, std::u16string_view xml);

    /// Adds an element with a text to the element at the path `parent`; `/` adds the root. `parent`
    /// must not have an element of this name yet, because the text is set by path, and the path
    /// leads to the first one. The text is never parsed, and characters that no document may hold
    /// are replaced (see legalXmlText), so no character in a device's text can make this fail.
    /// Returns false if there is no `parent` or `name` isn't a valid name, among other cases.
    bool addElement(std::u16string_view parent, std::u16string_view name, std::u16string_view text);

  private:
    ComPtr<IXmlDoc> document_;
};

/// Replaces the units that no XML document may hold. A control character below U+0020 becomes
/// U+F000 plus its code, as in the names of a card's files; but tabs and line ends stay. An
/// unpaired surrogate, U+FFFE and U+FFFF become U+FFFD.
std::u16string legalXmlText(std::u16string_view text);

}  // namespace zlk
