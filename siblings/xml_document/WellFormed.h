#pragma once
// The gate in front of the tree. The parser behind it builds trees fast and waves through what it
// doesn't need to understand (text around the root, unknown entities, zero characters); documents
// come from cameras, so all of that is turned away here, before a node is made.

#include <cstddef>
#include <optional>
#include <string_view>

namespace zlk {

/// Elements inside one another. Walks of the tree may recurse, since no tree is deeper.
inline constexpr std::size_t maxXmlDepth = 256;
/// Elements, attributes and texts of one parsed text: 200 MB of tree, or a list of 260,000 files.
inline constexpr std::size_t maxXmlNodes = 4'000'000;
/// Units of one parsed text.
inline constexpr std::size_t maxXmlUnits = 64 * 1024 * 1024;

/// Whether every character is one that a document can hold: no zeros or other control characters
/// but tab and line ends, no lone surrogates.
bool isXmlText(std::u16string_view text) noexcept;

/// The root element of a well-formed document, as it stands in `utf8`, without declaration,
/// document type, comments or a byte order mark around it. Nothing if the document isn't well
/// formed, declares entities of its own, or goes beyond `maxDepth` or the limits above.
std::optional<std::string_view> rootOfDocument(std::string_view utf8, std::size_t maxDepth);

}  // namespace zlk
