#pragma once
// The XML document component.

#include <pugixml.hpp>
#include <string_view>

#include "interfaces/IXmlDoc.h"
#include "platform/component_object.h"

namespace zlk {

/// Holds one document, which is empty at first. E_INVALIDARG means, among others, that a path has
/// an empty step or something else than a number in its brackets, or that it is `/` in another call
/// than AddFragment(). E_FAIL means a missing element or attribute, a second root, or markup that
/// WellFormed.h doesn't allow or that can't be parsed. Comments, instructions and white space
/// beside elements aren't kept. Not thread-safe.
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
    HRESULT GetXml(BSTR* text) noexcept override;
    HRESULT GetValue(BSTR path, BSTR* value) noexcept override;
    /// The new text replaces all texts directly in the element; child elements stay. E_INVALIDARG,
    /// without a change, for a text with characters that no document can hold.
    HRESULT SetValue(BSTR path, BSTR value) noexcept override;
    HRESULT GetAttribute(BSTR path, BSTR name, BSTR* value) noexcept override;
    HRESULT Reserved12() noexcept override { return E_NOTIMPL; }
    HRESULT AddFragment(BSTR path, BSTR xml) noexcept override;

  protected:
    ~XmlDocument() = default;

  private:
    /// Where a path leads.
    struct Place {
        HRESULT result = E_FAIL;
        pugi::xml_node node;
        std::size_t depth = 0;  // steps from the top; 0 is the place above the root
    };
    Place find(BSTR path);
    /// As find(), but the place above the root gives E_INVALIDARG.
    Place findElement(BSTR path);
    /// The element number `index`, from 0, among the children of this name; null if there is none.
    /// Unfolds the element if necessary.
    pugi::xml_node child(pugi::xml_node parent, std::string_view name, std::size_t index);

    // A list is built of fragments, one after another, and mostly handed out as a whole. So all of
    // its elements but the first are folded (see foldedElement) until a path leads to them, which
    // saves memory.
    pugi::xml_document tree_;

    // The element to which the last step with a number above 0 led. A reader asks for one number of
    // a list after another, and starting at the first each time would take quadratic time. Elements
    // are only ever appended, so this is valid until the next Load().
    struct {
        pugi::xml_node node;
        std::size_t index = 0;
    } last_;
};

}  // namespace zlk
