#pragma once
// Writes a manifest of a media hash list, file by file.

#include <functional>
#include <string_view>

#include "tools/zlkcam/history/Generation.h"

namespace zlk {

/// Hands the document out in pieces.
void writeManifest(const Generation& generation,
                   const std::function<void(std::string_view)>& write);

/// Whether XML has all characters of a text, and gives them back as they are.
bool isXmlText(std::string_view text);

}  // namespace zlk
