#include "tools/zlkcam/unload/SafeName.h"

#include <algorithm>

#include "platform/text.h"

namespace zlk {
namespace {

// Linux file systems take 255 bytes; the rest is room for ` (n)`, `.part` and a number in front.
constexpr std::size_t maxNameBytes = 255 - 35;
// Longer "extensions" are taken for a part of the name.
constexpr std::size_t maxExtensionBytes = 16;

constexpr WCHAR replacement = u'_';

/// The slashes separate folders here or on a card, and can't be in a name.
WCHAR safeUnit(WCHAR unit) {
    return unit == u'/' || unit == u'\\' ? replacement : harmlessUnit(unit, replacement);
}

/// A dot in the first place hides a file and begins no extension.
template <class Text>
std::size_t extensionIn(Text name) {
    const std::size_t dot = name.rfind('.');
    return dot == Text::npos || dot == 0 ? name.size() : dot;
}

/// Cuts a name to the allowed length, before its extension, so that the kind of file stays known.
void shorten(std::string& name) {
    if (name.size() <= maxNameBytes) return;
    std::size_t dot = extensionOf(name);
    if (name.size() - dot > maxExtensionBytes) dot = name.size();
    std::size_t cut = maxNameBytes - (name.size() - dot);
    // A character of UTF-8 must not be cut in two; its later bytes have the form 10xxxxxx.
    const auto isInsideOfCharacter = [&] { return (name[cut] & 0xC0) == 0x80; };
    while (isInsideOfCharacter()) --cut;
    name.erase(cut, dot - cut);
}

}  // namespace

WCHAR harmlessUnit(WCHAR unit, WCHAR instead) {
    // The platform stores a byte that isn't UTF-8 as a unit from U+F000 on. A byte from 0xA0 on was
    // most likely Latin-1, which cameras use.
    if (unit >= 0xF0A0 && unit <= 0xF0FF) return static_cast<WCHAR>(unit - 0xF000);
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool masked = unit >= 0xF001 && unit < 0xF0A0;
    // Direction marks can make `exe.jpg` look like `gpj.exe`, and the other way round.
    const bool direction = (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return control || masked || direction ? instead : unit;
}

std::string safeName(std::u16string_view name) {
    std::u16string safe(name.empty() ? std::u16string_view(&replacement, 1) : name);
    std::transform(safe.begin(), safe.end(), safe.begin(), safeUnit);
    // A name with a dot in front would be hidden.
    if (safe.front() == u'.') safe.front() = replacement;
    std::string text = utf8Text(safe);
    shorten(text);
    return text;
}

std::vector<std::string> safePath(std::u16string_view devicePath) {
    const bool endsInSlash = devicePath.ends_with(u'/') || devicePath.ends_with(u'\\');
    std::vector<std::string> parts;
    while (!devicePath.empty()) {
        const std::size_t end = std::min(devicePath.find_first_of(u"/\\"), devicePath.size());
        if (end > 0) parts.push_back(safeName(devicePath.substr(0, end)));
        devicePath.remove_prefix(std::min(end + 1, devicePath.size()));
    }
    // A single component with a slash at its end is a folder without a file's name. The file gets
    // `_`, and not the folder's name.
    if (parts.empty() || (parts.size() == 1 && endsInSlash)) parts.push_back(safeName({}));
    return parts;
}

std::u16string_view fileNameIn(std::u16string_view devicePath) {
    return devicePath.substr(devicePath.find_last_of(u"/\\") + 1);
}

std::size_t extensionOf(std::string_view name) {
    return extensionIn(name);
}

std::size_t extensionOf(std::u16string_view name) {
    return extensionIn(name);
}

}  // namespace zlk
