#include "ptp/wString.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/text.h"

namespace zlk {
namespace {

// In units.
constexpr std::size_t ordinaryCapacity = 256;

/// How many units to allocate for a text of this length. Most texts then have room to grow.
std::size_t capacityFor(std::size_t length) {
    return length + 1 > ordinaryCapacity ? length + ordinaryCapacity : ordinaryCapacity;
}

std::u16string_view viewOf(const WCHAR* wide) {
    return wide ? std::u16string_view(wide) : std::u16string_view();
}

}  // namespace

wString::wString(const WCHAR* wide) : wString(viewOf(wide)) {}

wString::wString(const char* utf8) {
    if (!utf8 || !*utf8) return;
    const int units = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    if (units < 2) return;
    const auto wide = std::unique_ptr<WCHAR[]>(new (std::nothrow) WCHAR[units]);
    if (wide && MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide.get(), units) == units)
        take({wide.get(), static_cast<std::size_t>(units) - 1},
             capacityFor(static_cast<std::size_t>(units) - 1));
}

wString::wString(std::u16string_view wide) {
    if (!wide.empty()) take(wide, capacityFor(wide.size()));
}

wString::wString(const wString& other) {
    if (other.text) take(other.view(), other.capacity);
}

void wString::take(std::u16string_view wide, std::size_t room) {
    text.reset();
    capacity = length = 0;
    if (room > std::numeric_limits<std::uint32_t>::max()) return;
    text.reset(new (std::nothrow) WCHAR[room]());
    if (!text) return;
    std::ranges::copy(wide, text.get());
    capacity = static_cast<std::uint32_t>(room);
    length = static_cast<std::uint32_t>(wide.size());
}

void wString::assign(const wString& source) {
    if (&source == this || source.capacity == 0 || source.length == 0) return;
    take(source.view(), source.capacity);
}

void wString::append(const wString& source) {
    if (source.length == 0) return;
    if (length == 0) return take(source.view(), source.capacity);
    if (capacity <= length + std::size_t{source.length} + 1) {
        // The new text is complete before the old one is replaced, since `source` may be this
        // object.
        const std::size_t room = std::size_t{capacity} + source.capacity;
        wString joined;
        joined.take(view(), room);
        if (!joined.text) return;
        const std::uint32_t added = source.length;
        std::ranges::copy(source.view(), joined.text.get() + length);
        joined.length += added;
        text = std::move(joined.text);
        capacity = joined.capacity;
        length = joined.length;
        return;
    }
    std::copy_n(source.text.get(), source.length, text.get() + length);
    length += source.length;
    text[length] = 0;
}

void wString::append(const WCHAR* wide) {
    append(wString(wide));
}

std::uint16_t wString::charAt(std::uint32_t index) const {
    return index < capacity ? text[index] : 0;
}

const char* wString::narrow() const {
    if (!text) return "";
    narrowText.reset();
    const int units = static_cast<int>(length);
    const int bytes = units ? WideCharToMultiByte(CP_UTF8, 0, text.get(), units, nullptr, 0) : 0;
    narrowText.reset(new (std::nothrow) char[static_cast<std::size_t>(bytes) + 1]());
    if (!narrowText) return "";
    if (bytes) WideCharToMultiByte(CP_UTF8, 0, text.get(), units, narrowText.get(), bytes);
    return narrowText.get();
}

}  // namespace zlk
