#pragma once
// Makes arbitrary texts safe to stand in an HTML page that is a well-formed XML document, too.

#include <string>
#include <string_view>

namespace zlk {

/// Escapes UTF-8 for use as the text of an element or the value of an attribute. Markup characters
/// become references; control characters, marks that change the direction of a text, what XML
/// excludes, and bytes that aren't UTF-8 become U+FFFD. Characters by which the platform stands in
/// for bytes are replaced as harmlessUnit does it.
std::string htmlText(std::string_view text);

/// A JPEG picture as a `data:` address, so that the page needs no other file.
std::string jpegAddress(std::string_view jpeg);

}  // namespace zlk
