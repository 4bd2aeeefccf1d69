#include "foundation/Xml.h"

#include "foundation/ComponentText.h"

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
    // The element is added empty, and its text set afterwards, so that the text is never parsed.
    return addFragment(parent, fragment) && setValue(path, legalXmlText(text));
}

std::u16string legalXmlText(std::u16string_view text) {
    constexpr WCHAR controlFront = 0xF000, unknown = 0xFFFD;
    // Each half of a surrogate pair is one of 1,024 units.
    const auto isHalf = [](WCHAR unit, WCHAR first) {
        return unit >= first && unit < first + 0x400;
    };
    constexpr WCHAR high = 0xD800, low = 0xDC00;
    std::u16string legal(text);
    for (std::size_t i = 0; i < legal.size(); ++i) {
        WCHAR& unit = legal[i];
        const bool isPair = isHalf(unit, high) && i + 1 < legal.size() && isHalf(legal[i + 1], low);
        if (isPair)
            ++i;
        else if (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r')
            unit = static_cast<WCHAR>(controlFront + unit);
        else if (isHalf(unit, high) || isHalf(unit, low) || unit >= 0xFFFE)
            unit = unknown;
    }
    return legal;
}

}  // namespace zlk
