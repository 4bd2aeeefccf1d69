#pragma once
// Checks documents before the parser sees them. The parser accepts what it doesn't need to
// understand, such as text around the root, unknown entities and zero characters. Documents may
// come from cameras, so these faults are refused here, before a node is made.

#include <cstddef>
#include <optional>
#include <string_view>

namespace zlk {

/// The most elements inside of each other. Because of this limit, functions that walk the tree may
/// recurse.
inline constexpr std::size_t maxXmlDepth = 256;
/// The most elements, attributes and texts in one parsed text. A list of about 260,000 files has as
/// many.
inline constexpr std::size_t maxXmlNodes = 4'000'000;
/// The most UTF-16 units of one parsed text.
inline constexpr std::size_t maxXmlUnits = 64 * 1024 * 1024;

/// Whether a document can hold all of these characters: there are no lone surrogates, no U+FFFE and
/// U+FFFF, and of the characters below U+0020 only tabs and line ends.
bool isXmlText(std::u16string_view text) noexcept;

/// The root element of a well-formed document as it stands in `utf8`, without anything around it.
/// Nothing if the document isn't well-formed, has definitions in its document type, or exceeds
/// `maxDepth` or maxXmlNodes. Not checked are characters (see isXmlText()), names beyond ASCII, and
/// what the declaration, the document type and instructions say.
std::optional<std::string_view> rootOfDocument(std::string_view utf8, std::size_t maxDepth);

}  // namespace zlk
