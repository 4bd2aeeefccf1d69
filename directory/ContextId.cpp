#include "directory/ContextId.h"

namespace zlk {

bool splitIdentifier(const std::u16string& id, std::u16string& manufacturer,
                     std::u16string& productClass, std::u16string& serial) {
    constexpr auto none = std::u16string::npos;
    const std::size_t first = id.find(u'#');
    const std::size_t second = first == none ? none : id.find(u'#', first + 1);
    const std::size_t third = second == none ? none : id.find(u'#', second + 1);
    if (third == none) return false;
    manufacturer = id.substr(first + 1, second - first - 1);
    productClass = id.substr(second + 1, third - second - 1);
    serial = id.substr(third + 1);
    return true;
}

std::u16string makeContextId(std::u16string_view productClass, std::u16string_view instance) {
    std::u16string id = u"#Zephyr-Lanthorn#";
    id.append(productClass).append(u"#").append(instance);
    return id;
}

}  // namespace zlk
