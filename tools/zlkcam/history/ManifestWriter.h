#pragma once
// Writes a manifest of a media hash list element by element.

#include <functional>
#include <string_view>

#include "tools/zlkcam/history/Generation.h"

namespace zlk {

/// Calls `write` with the pieces of the document, in order. Throws std::invalid_argument for a
/// record without a sum that a manifest can hold; what `write` throws passes through.
void writeManifest(const Generation& generation,
                   const std::function<void(std::string_view)>& write);

/// Whether a text may stand in XML and is read back unchanged.
bool isXmlText(std::string_view text);

}  // namespace zlk
