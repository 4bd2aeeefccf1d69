#pragma once
// XML namespaces, which pugixml doesn't know: names with and without prefix, and what they mean.

#include <pugixml.hpp>

#include <string>
#include <string_view>

namespace zlk {

/// The name without its prefix.
std::string_view localName(pugi::xml_node node);
/// The prefix with its colon; empty if there is none.
std::string prefixOf(pugi::xml_node node);
/// The namespace of an element, as declared by itself, by an element around it, or by `around`;
/// empty if none of them declares it.
std::string_view namespaceOf(pugi::xml_node node, pugi::xml_node around = {});
/// The first child with this local name; null if there is none.
pugi::xml_node childNamed(pugi::xml_node node, std::string_view name);
/// All text directly in an element, also if comments or CDATA sections divide it.
std::string textOf(pugi::xml_node node);

}  // namespace zlk
