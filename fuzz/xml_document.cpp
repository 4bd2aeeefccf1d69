// Fuzzes the XML document component with documents from cameras: a document that was loaded and
// written must be loaded and written the same again.

#include "siblings/xml_document/XmlDocument.h"

#include "fuzz/Input.h"
#include "platform/text.h"

using namespace zlk;
using namespace zlk::fuzz;

namespace {

ComPtr<IXmlDoc> newDocument() {
    ComPtr<IXmlDoc> document;
    createObject<XmlDocument>(nullptr, iidOf<IXmlDoc>, reinterpret_cast<void**>(document.out()));
    return document;
}

std::u16string xmlOf(IXmlDoc& document) {
    Bstr xml;
    require(document.GetXml(xml.out()) == S_OK);
    return std::u16string(xml.view());
}

/// Whether `xml` loads; if so, `again` becomes the text as which the document is written.
bool readsBack(const std::u16string& xml, std::u16string& again) {
    const ComPtr<IXmlDoc> document = newDocument();
    if (FAILED(document->Load(Bstr(xml).get()))) return false;
    again = xmlOf(*document.get());
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Bstr path(wideText(input.narrow(input.byte() % 32)));
    const Bstr value(input.wide(input.byte() % 16));
    const Bstr text(wideText(input.narrow(4096)));

    const ComPtr<IXmlDoc> document = newDocument();
    if (FAILED(document->Load(text.get()))) return 0;
    std::u16string once = xmlOf(*document.get());
    std::u16string again;
    require(readsBack(once, again) && again == once);

    // Reading and changing the document at any path must not crash, and a value that was set must
    // be there.
    Bstr found;
    document->GetValue(path.get(), found.out());
    document->GetAttribute(path.get(), value.get(), found.out());
    if (SUCCEEDED(document->SetValue(path.get(), value.get()))) {
        require(document->GetValue(path.get(), found.out()) == S_OK);
        require(found.view() == value.view());
    }
    document->AddFragment(path.get(), text.get());
    // The changed document needn't load again: a fragment may nest too deeply in its new place. And
    // the first loading may drop white space that was set beside elements, so only the second and
    // third form have to be equal.
    if (readsBack(xmlOf(*document.get()), once)) require(readsBack(once, again) && again == once);
    return 0;
}
