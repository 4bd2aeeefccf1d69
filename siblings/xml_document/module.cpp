#include "platform/component_module.h"
#include "siblings/xml_document/XmlDocument.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_XmlDoc, zlk::createObject<zlk::XmlDocument>, 1},
};

}  // namespace

ZLK_COMPONENT_MODULE(classes)
