#pragma once
// Context ids, the texts by which devices are known: `#<manufacturer>#<product class>#<serial>`. In
// the id of a registered device, the product class is a key of the settings tree, and the serial
// number an instance below that key.

#include <string>
#include <string_view>

namespace zlk {

/// Splits an id. A text with fewer than three `#` gives false, and leaves the out arguments
/// unchanged. Text before the first `#` is ignored, a fourth `#` belongs to the serial number, and
/// each part may be empty.
bool splitIdentifier(const std::u16string& id, std::u16string& manufacturer,
                     std::u16string& productClass, std::u16string& serial);

/// The context id of an instance, with our own manufacturer.
std::u16string makeContextId(std::u16string_view productClass, std::u16string_view instance);

}  // namespace zlk
