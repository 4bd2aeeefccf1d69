// The texts of the component model: counted strings, and ids as text.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/component.h"
#include "platform/text.h"

namespace {

/// What stands in memory before a text. Its last four bytes are the count that callers may read;
/// the rest keeps the text at an address that suits any type.
struct TextHead {
    std::uint32_t unused[3];
    std::uint32_t bytes;
};
static_assert(sizeof(TextHead) == alignof(std::max_align_t));

TextHead* headOf(BSTR text) {
    return reinterpret_cast<TextHead*>(text) - 1;
}

BSTR allocate(const WCHAR* text, std::size_t length) {
    const std::size_t bytes = length * sizeof(WCHAR);
    if (bytes > UINT32_MAX - 1) return nullptr;
    const std::size_t size = sizeof(TextHead) + bytes + sizeof(WCHAR);
    auto* head = static_cast<TextHead*>(text ? std::malloc(size) : std::calloc(1, size));
    if (!head) return nullptr;
    head->bytes = static_cast<std::uint32_t>(bytes);
    BSTR made = reinterpret_cast<BSTR>(head + 1);
    if (text) std::memcpy(made, text, bytes);
    made[length] = 0;
    return made;
}

int hexDigit(WCHAR unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
    return -1;
}

constexpr std::u16string_view guidForm = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";

}  // namespace

BSTR SysAllocString(const WCHAR* text) noexcept {
    return text ? allocate(text, std::char_traits<WCHAR>::length(text)) : nullptr;
}

BSTR SysAllocStringLen(const WCHAR* text, UINT length) noexcept {
    return allocate(text, length);
}

void SysFreeString(BSTR text) noexcept {
    if (text) std::free(headOf(text));
}

UINT SysStringLen(BSTR text) noexcept {
    return text ? headOf(text)->bytes / sizeof(WCHAR) : 0;
}

HRESULT CLSIDFromString(const WCHAR* text, GUID* clsid) noexcept {
    if (!clsid) return E_INVALIDARG;
    *clsid = {};
    // The text is compared with the form unit by unit, and its digits are collected in pairs.
    std::uint32_t bytes[16] = {};
    std::size_t digits = 0;
    for (const WCHAR expected : guidForm) {
        const WCHAR unit = text ? *text++ : u'\0';
        if (expected != u'x') {
            if (unit != expected) return CO_E_CLASSSTRING;
            continue;
        }
        const int digit = hexDigit(unit);
        if (digit < 0) return CO_E_CLASSSTRING;
        bytes[digits / 2] = bytes[digits / 2] << 4 | static_cast<std::uint32_t>(digit);
        ++digits;
    }
    if (*text != 0) return CO_E_CLASSSTRING;
    clsid->Data1 = bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    clsid->Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    clsid->Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::copy(bytes + 8, bytes + 16, clsid->Data4);
    return S_OK;
}

int StringFromGUID2(const GUID& id, WCHAR* buffer, int room) noexcept {
    constexpr int units = static_cast<int>(guidForm.size()) + 1;
    if (!buffer || room < units) return 0;
    const BYTE* d = id.Data4;
    const FormatArgument fields[] = {id.Data1, id.Data2, id.Data3, d[0], d[1], d[2],
                                     d[3],     d[4],     d[5],     d[6], d[7]};
    formatWide(buffer, static_cast<std::size_t>(room),
               u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", fields);
    return units;
}
