#pragma once
// Names with prefixes, of which pugixml knows nothing.

#include <pugixml.hpp>

#include <string>
#include <string_view>

namespace zlk {

std::string_view localName(pugi::xml_node node);
/// The prefix with its colon; empty if there is none.
std::string prefixOf(pugi::xml_node node);
/// As the element, those around it, or `around` at last, declare it; empty if none does.
std::string_view namespaceOf(pugi::xml_node node, pugi::xml_node around = {});
/// The first child of this local name.
pugi::xml_node childNamed(pugi::xml_node node, std::string_view name);
/// All text directly in an element, in however many sections it stands.
std::string textOf(pugi::xml_node node);

}  // namespace zlk
