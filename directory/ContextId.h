#pragma once
// The text under which a device is known: `#<manufacturer>#<product class>#<serial>`. The product
// class is a key of the settings tree, the serial an instance below it.

#include <string>
#include <string_view>

namespace zlk {

/// Splits an id; false, with the out arguments as they were, for a text without three `#`. What
/// stands in front of the first counts for nothing, a fourth belongs to the serial, and each part
/// may be empty.
bool splitIdentifier(const std::u16string& id, std::u16string& manufacturer,
                     std::u16string& productClass, std::u16string& serial);

/// The context id of an instance, as this system makes them.
std::u16string makeContextId(std::u16string_view productClass, std::u16string_view instance);

}  // namespace zlk
