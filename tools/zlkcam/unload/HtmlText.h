#pragma once
// What may stand in an HTML page. A page of these is a well-formed XML document, too.

#include <string>
#include <string_view>

namespace zlk {

/// UTF-8 as text of an element or as an attribute's value, whatever it holds: what is markup
/// there stands for itself, and U+FFFD for what controls how a text is shown and for what is no
/// UTF-8.
std::string htmlText(std::string_view text);

/// A picture as the address of itself, so that no other file is needed.
std::string jpegAddress(std::string_view jpeg);

}  // namespace zlk
