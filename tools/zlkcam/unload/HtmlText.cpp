#include "tools/zlkcam/unload/HtmlText.h"

#include <nettle/base64.h>

#include <algorithm>

#include "platform/text.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

constexpr WCHAR replacement = 0xFFFD;

/// U+FFFE and U+FFFF aren't allowed in XML, and what harmlessUnit() replaces could change how the
/// page reads.
WCHAR shownUnit(WCHAR unit) {
    return unit >= 0xFFFE ? replacement : harmlessUnit(unit, replacement);
}

}  // namespace

std::string htmlText(std::string_view text) {
    std::u16string units = wideText(text);
    std::ranges::transform(units, units.begin(), shownUnit);
    std::string escaped;
    for (const char byte : utf8Text(units)) {
        if (byte == '&')
            escaped += "&amp;";
        else if (byte == '<')
            escaped += "&lt;";
        else if (byte == '>')
            escaped += "&gt;";
        else if (byte == '"')
            escaped += "&quot;";
        else if (byte == '\'')
            escaped += "&#39;";
        else
            escaped += byte;
    }
    return escaped;
}

std::string jpegAddress(std::string_view jpeg) {
    std::string digits(BASE64_ENCODE_RAW_LENGTH(jpeg.size()), '\0');
    base64_encode_raw(digits.data(), jpeg.size(),
                      reinterpret_cast<const std::uint8_t*>(jpeg.data()));
    return "data:image/jpeg;base64," + digits;
}

}  // namespace zlk
