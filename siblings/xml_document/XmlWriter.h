#pragma once
// From the tree to its text.

#include <pugixml.hpp>
#include <string>

#include "platform/component.h"

namespace zlk {

/// The element with all that is in it: no declaration, no white space but its texts' own, an
/// element without content as `<name/>`; a line end that a reader would change is written as a
/// reference. Made in one piece of the right size; empty where there is no memory.
Bstr writeXml(pugi::xml_node element);

/// The same text in UTF-8.
std::string markupOf(pugi::xml_node element);

/// A folded element: its name, and instead of a tree the markup of it. Instructions aren't kept in
/// a document, so no other node has this type.
inline constexpr pugi::xml_node_type foldedElement = pugi::node_pi;

}  // namespace zlk
