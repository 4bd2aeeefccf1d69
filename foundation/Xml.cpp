#include "foundation/Xml.h"

#include "foundation/Guarded.h"

namespace zlk {

bool XmlDocument::load(std::u16string_view text) {
    return document_ && document_->Load(makeBstr(text).get()) == S_OK;
}

std::u16string XmlDocument::xml() const {
    Bstr text;
    if (!document_ || document_->GetXml(text.out()) != S_OK) return {};
    return std::u16string(text.view());
}

bool XmlDocument::value(std::u16string_view path, std::u16string& text) const {
    text.clear();
    Bstr found;
    if (!document_ || document_->GetValue(makeBstr(path).get(), found.out()) != S_OK) return false;
    text = found.view();
    return true;
}

bool XmlDocument::setValue(std::u16string_view path, std::u16string_view text) {
    return document_ && document_->SetValue(makeBstr(path).get(), makeBstr(text).get()) == S_OK;
}

bool XmlDocument::attribute(std::u16string_view path, std::u16string_view name,
                            std::u16string& text) const {
    text.clear();
    Bstr found;
    if (!document_ ||
        document_->GetAttribute(makeBstr(path).get(), makeBstr(name).get(), found.out()) != S_OK)
        return false;
    text = found.view();
    return true;
}

bool XmlDocument::addFragment(std::u16string_view path, std::u16string_view xml) {
    return document_ && document_->AddFragment(makeBstr(path).get(), makeBstr(xml).get()) == S_OK;
}

bool XmlDocument::addElement(std::u16string_view parent, std::u16string_view name,
                             std::u16string_view text) {
    std::u16string fragment = u"<";
    fragment.append(name).append(u" />");
    std::u16string path;
    if (parent != u"/") path.append(parent).append(u"/");
    path.append(name);
    return addFragment(parent, fragment) && setValue(path, text);
}

}  // namespace zlk
