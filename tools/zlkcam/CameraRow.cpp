#include "tools/zlkcam/CameraRow.h"

#include <algorithm>

#include "platform/text.h"
#include "tools/zlkcam/SettingsStore.h"

namespace zlk {
namespace {

constexpr std::size_t longestClass = 40;

constexpr bool isLetterOrDigit(WCHAR unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'a' && unit <= u'z');
}

constexpr bool isWithin(WCHAR unit, WCHAR first, WCHAR last) {
    return unit >= first && unit <= last;
}

/// Control characters, the space and the no-break space, the common invisible marks, surrogates,
/// the private area, and the units from U+FFF0 on. Rarer blanks and marks are let through.
constexpr bool isUnreadable(WCHAR unit) {
    return unit <= 0x20 || isWithin(unit, 0x7F, 0xA0) || isWithin(unit, 0x200B, 0x200F) ||
           isWithin(unit, 0x2028, 0x202E) || isWithin(unit, 0x2060, 0x206F) ||
           isWithin(unit, 0xD800, 0xF8FF) || unit == 0xFEFF || unit >= 0xFFF0;
}

/// Keeps the `good` units of a text. A run of other units between two kept ones becomes one
/// `filler`. The result has at most `most` units.
template <class Good>
std::u16string only(std::u16string_view text, WCHAR filler, Good good, std::size_t most) {
    std::u16string kept;
    bool between = false;
    for (const WCHAR unit : text) {
        if (!good(unit)) {
            between = !kept.empty();
            continue;
        }
        // A filler that would be the last unit is of no use.
        if (kept.size() + between >= most) break;
        if (between) kept += filler;
        between = false;
        kept += unit;
    }
    return kept;
}

SettingsValue textValue(const WCHAR* name, std::u16string_view text) {
    return {name, REG_SZ, textData(text)};
}

}  // namespace

std::u16string readableText(std::u16string_view text, std::size_t most) {
    return only(
        text, u' ', [](WCHAR unit) { return !isUnreadable(unit); }, most);
}

bool isProductClass(std::u16string_view text) {
    // Names that aren't sections, but also have a meaning in the place of a product class.
    constexpr std::u16string_view others[] = {u"CtxMgr", u"RemovableDrive", u"CDROMDrive"};
    const auto isText = [&](std::u16string_view name) { return equalIgnoringCase(name, text); };
    // A class with the name of a section would make the camera's row a part of that section.
    return !text.empty() && text.size() <= longestClass &&
           std::all_of(
               text.begin(), text.end(),
               [](WCHAR unit) { return isLetterOrDigit(unit) || unit == u'_' || unit == u'-'; }) &&
           std::none_of(std::begin(settingsSections), std::end(settingsSections), isText) &&
           std::none_of(std::begin(others), std::end(others), isText);
}

CameraRow::CameraRow(const UsbCamera& camera)
    : pnpId(camera.pnpId), name(readableText(camera.attached.product, longestName)) {
    // With this prefix none of the names that isProductClass() refuses can come out.
    const std::u16string_view front = u"Cam";
    productClass = only(name, u'_', isLetterOrDigit, longestClass - front.size());
    if (productClass.empty())
        productClass = formatText(u"%04X_%04X", camera.attached.vid, camera.attached.pid);
    productClass.insert(0, front);
    if (name.empty()) name = u"Camera " + pnpId;
}

std::u16string CameraRow::contextId() const {
    // 0000 is the first and only instance: USB cameras of one model share their row.
    return u"#Zephyr-Lanthorn#" + productClass + u"#0000";
}

std::u16string CameraRow::key() const {
    return std::u16string(settingsTree) + productClass + u"\\CamInfo";
}

SettingsKey CameraRow::settings() const {
    SettingsKey row;
    row.path = key();
    row.values = {textValue(u"Cam_pnpID", pnpId), textValue(u"Cam_protocol", u"PTP"),
                  textValue(u"DevType", u"CAMERA"), textValue(u"FriendlyName", name),
                  textValue(u"SwiftPostSupport", share ? u"TRUE" : u"FALSE")};
    return row;
}

}  // namespace zlk
