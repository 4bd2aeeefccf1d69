#pragma once
// The XML document component: one tree of elements with text and attributes, which callers build
// and read by paths. An object is for one thread.
//
// A path names the elements from the root down, as in `devices/device[1]/name`; a number counts
// from 0 among the elements of one name. `/` is the place above the root. All texts are BSTRs:
// those passed in are borrowed, those given out belong to the caller. A result of 0 is success,
// any other failure.
//
// The methods named Reserved keep the other methods at their positions in the virtual table.
// Calling one returns E_NOTIMPL.

#include "platform/component.h"

struct IXmlDoc : IUnknown {
    virtual HRESULT Reserved1() noexcept = 0;
    virtual HRESULT Reserved2() noexcept = 0;
    virtual HRESULT Reserved3() noexcept = 0;
    virtual HRESULT Reserved4() noexcept = 0;
    virtual HRESULT Reserved5() noexcept = 0;
    /// Parses `text` and replaces the document. If the text isn't well formed or exceeds a limit,
    /// the call fails and the old document stays.
    virtual HRESULT Load(BSTR text) noexcept = 0;
    virtual HRESULT Reserved7() noexcept = 0;
    /// The whole document, without a declaration and without white space between elements; empty if
    /// it has no root.
    virtual HRESULT GetXml(BSTR* text) noexcept = 0;
    /// The text of an element; empty if the element has none. Fails if the element is missing.
    virtual HRESULT GetValue(BSTR path, BSTR* value) noexcept = 0;
    /// Sets the text of an existing element, whose child elements stay. Fails if `value` has a
    /// character that no document may hold; all others are escaped as needed.
    virtual HRESULT SetValue(BSTR path, BSTR value) noexcept = 0;
    /// The value of an attribute. Fails if the element or the attribute is missing.
    virtual HRESULT GetAttribute(BSTR path, BSTR name, BSTR* value) noexcept = 0;
    virtual HRESULT Reserved12() noexcept = 0;
    /// Parses the single element `xml` and adds it as the last child of the element at `path`. At
    /// `/` it becomes the root, and the call fails if the document has a root already.
    virtual HRESULT AddFragment(BSTR path, BSTR xml) noexcept = 0;

  protected:
    ~IXmlDoc() = default;
};
template <>
inline constexpr GUID iidOf<IXmlDoc>{0xA1B0C061, 0x7E11, 0x4A61, {0x9C, 0x61, 0, 0, 0, 0, 0, 0xD1}};
inline constexpr GUID CLSID_XmlDoc{0xA1B0C060, 0x7E11, 0x4A60, {0x9C, 0x60, 0, 0, 0, 0, 0, 0xD0}};
