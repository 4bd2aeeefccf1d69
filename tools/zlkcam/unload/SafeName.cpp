#include "tools/zlkcam/unload/SafeName.h"

#include <algorithm>

#include "platform/text.h"

namespace zlk {
namespace {

// What a file system takes, less the longest of our prefixes and suffixes.
constexpr std::size_t maxNameBytes = 255 - 35;
constexpr std::size_t maxExtensionBytes = 16;

constexpr WCHAR replacement = u'_';

WCHAR safeUnit(WCHAR unit) {
    return unit == u'/' || unit == u'\\' ? replacement : harmlessUnit(unit, replacement);
}

template <class Text>
std::size_t extensionIn(Text name) {
    const std::size_t dot = name.rfind('.');
    return dot == Text::npos || dot == 0 ? name.size() : dot;
}

/// Cuts a name, in front of its extension, to what a file system takes.
void shorten(std::string& name) {
    if (name.size() <= maxNameBytes) return;
    std::size_t dot = extensionOf(name);
    if (name.size() - dot > maxExtensionBytes) dot = name.size();
    std::size_t cut = maxNameBytes - (name.size() - dot);
    const auto isInsideOfCharacter = [&] { return (name[cut] & 0xC0) == 0x80; };
    while (isInsideOfCharacter()) --cut;
    name.erase(cut, dot - cut);
}

}  // namespace

WCHAR harmlessUnit(WCHAR unit, WCHAR instead) {
    // A byte of a name that isn't UTF-8: most likely of the code page that cameras use.
    if (unit >= 0xF0A0 && unit <= 0xF0FF) return static_cast<WCHAR>(unit - 0xF000);
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool masked = unit >= 0xF001 && unit < 0xF0A0;
    // Marks that turn the direction of what is read make `gpj.exe` of `exe.jpg`.
    const bool direction = (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return control || masked || direction ? instead : unit;
}

std::string safeName(std::u16string_view name) {
    std::u16string safe(name.empty() ? std::u16string_view(&replacement, 1) : name);
    std::transform(safe.begin(), safe.end(), safe.begin(), safeUnit);
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
    // A camera's picture without a name must not take that of its folder.
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
