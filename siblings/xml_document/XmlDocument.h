#pragma once
// The XML document component.

#include <pugixml.hpp>
#include <string_view>

#include "interfaces/IXmlDoc.h"
#include "platform/component_object.h"

namespace zlk {

/// One document; a new one is empty. Beyond what IXmlDoc says: a path with an empty step or
/// something else than digits in its brackets is E_INVALIDARG, an element or attribute that isn't
/// there E_FAIL, and so is a text that doesn't parse or goes beyond the limits of WellFormed.h.
/// Comments and instructions are not kept, and neither is white space that stands beside elements.
class XmlDocument : public IXmlDoc {
  public:
    using Interfaces = InterfaceList<IXmlDoc>;

    HRESULT Reserved1() noexcept override { return E_NOTIMPL; }
    HRESULT Reserved2() noexcept override { return E_NOTIMPL; }
    HRESULT Reserved3() noexcept override { return E_NOTIMPL; }
    HRESULT Reserved4() noexcept override { return E_NOTIMPL; }
    HRESULT Reserved5() noexcept override { return E_NOTIMPL; }
    HRESULT Load(BSTR text) noexcept override;
    HRESULT Reserved7() noexcept override { return E_NOTIMPL; }
    /// An empty document gives the empty text.
    HRESULT GetXml(BSTR* text) noexcept override;
    HRESULT GetValue(BSTR path, BSTR* value) noexcept override;
    /// E_INVALIDARG for a text with characters that no document can hold; the old one stays. All
    /// of the element's own texts give way to the new one; elements in it stay.
    HRESULT SetValue(BSTR path, BSTR value) noexcept override;
    HRESULT GetAttribute(BSTR path, BSTR name, BSTR* value) noexcept override;
    HRESULT Reserved12() noexcept override { return E_NOTIMPL; }
    HRESULT AddFragment(BSTR path, BSTR xml) noexcept override;

  protected:
    ~XmlDocument() = default;

  private:
    struct Place {
        HRESULT result = E_FAIL;
        pugi::xml_node node;
        std::size_t depth = 0;
    };
    Place find(BSTR path);
    /// The same without the place above the root.
    Place findElement(BSTR path);
    pugi::xml_node child(pugi::xml_node parent, std::string_view name, std::size_t index);

    // A long list is built of fragments, one after the other, and then given out as it is. So all
    // but its first element are folded, which takes a quarter of a tree's memory, until somebody
    // looks into them.
    pugi::xml_document tree_;

    // The last numbered step that was found: a reader asks for number after number of a list, and
    // starting over each time would make that quadratic. Elements are only ever appended, so it
    // holds until the next Load.
    struct {
        pugi::xml_node node;
        std::size_t index = 0;
    } last_;
};

}  // namespace zlk
