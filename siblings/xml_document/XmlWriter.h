#pragma once
// Writes an element of a document's tree as text.

#include <pugixml.hpp>
#include <string>

#include "platform/component.h"

namespace zlk {

/// The element with everything in it, without a declaration and without white space between
/// elements. An empty element is written as `<name/>`. Carriage returns, and in attributes tabs and
/// line feeds as well, are written as character references, because a reader would normalise them.
/// The text is allocated once, in its final size. The result is null if there is no memory, or if
/// the text is too long for a BSTR.
Bstr writeXml(pugi::xml_node element);

/// What writeXml() writes, in UTF-8.
std::string markupOf(pugi::xml_node element);

/// The type of a node that stands for a whole element. The node's name is the element's, and its
/// value is the element's markup. A document keeps no instructions, so no other node has this type.
inline constexpr pugi::xml_node_type foldedElement = pugi::node_pi;

}  // namespace zlk
