#pragma once
// Writes an element of the tree as text.

#include <pugixml.hpp>
#include <string>

#include "platform/component.h"

namespace zlk {

/// The element with everything in it, without a declaration and without white space between
/// elements; an empty element as `<name/>`. A line end that a reader would normalise is written as
/// a character reference. The text is allocated once, in its final size; empty if there is no
/// memory.
Bstr writeXml(pugi::xml_node element);

/// The same text in UTF-8.
std::string markupOf(pugi::xml_node element);

/// The type of a folded element, which has its name, and its markup in place of a subtree. A
/// document keeps no instructions, so no other node has this type.
inline constexpr pugi::xml_node_type foldedElement = pugi::node_pi;

}  // namespace zlk
