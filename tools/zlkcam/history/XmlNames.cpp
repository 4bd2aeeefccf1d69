#include "tools/zlkcam/history/XmlNames.h"

namespace zlk {

std::string_view localName(pugi::xml_node node) {
    const std::string_view name = node.name();
    return name.substr(name.find(':') + 1);
}

std::string prefixOf(pugi::xml_node node) {
    const std::string_view name = node.name();
    return std::string(name.substr(0, name.find(':') + 1));
}

std::string_view namespaceOf(pugi::xml_node node, pugi::xml_node around) {
    std::string declaration = "xmlns";
    // The namespace of a prefix is declared by `xmlns:prefix`, without a prefix by `xmlns`, on the
    // element or on any element around it.
    if (std::string prefix = prefixOf(node); !prefix.empty()) {
        prefix.pop_back();
        declaration += ':' + prefix;
    }
    for (; node; node = node.parent())
        if (const auto found = node.attribute(declaration.c_str())) return found.value();
    // An element that was parsed by itself has lost what is around it, so its document's root is
    // passed as `around`.
    return around.attribute(declaration.c_str()).value();
}

pugi::xml_node childNamed(pugi::xml_node node, std::string_view name) {
    return node.find_child([&](pugi::xml_node child) { return localName(child) == name; });
}

std::string textOf(pugi::xml_node node) {
    std::string text;
    for (const pugi::xml_node child : node)
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            text += child.value();
    return text;
}

}  // namespace zlk
