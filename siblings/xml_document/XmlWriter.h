#pragma once
// From the tree to its text.

#include <pugixml.hpp>

#include "platform/component.h"

namespace zlk {

/// The element with all that is in it: no declaration, no white space but its texts' own, an
/// element without content as `<name/>`; a line end that a reader would change is written as a
/// reference. Made in one piece of the right size; empty where there is no memory.
Bstr writeXml(pugi::xml_node element);

}  // namespace zlk
