#pragma once
// A row of the camera table, made from what an attached camera says of itself. That is hostile:
// what becomes the name of a key and a part of context ids holds nothing but letters, digits,
// `_` and `-`.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/RegFile.h"
#include "tools/zlkcam/UsbCamera.h"

namespace zlk {

inline constexpr std::size_t longestName = 60;
/// Keys of the settings that hold product classes themselves.
inline constexpr std::u16string_view settingsSections[] = {u"Import", u"Unload", u"SwiftPost",
                                                           u"TagMgrDevices"};

struct CameraRow {
    explicit CameraRow(const UsbCamera& camera);

    std::u16string productClass;
    std::u16string pnpId;
    std::u16string name;  ///< at most longestName units, for people to read
    bool share = false;   ///< takes the share menu, and tells its clock and diagnostics

    std::u16string contextId() const;
    /// The row's key in the settings, and the whole of what it shall hold.
    std::u16string key() const;
    SettingsKey settings() const;
};

/// Whether a text can be the product class of a row: legal, and no other key of the settings.
bool isProductClass(std::u16string_view text);

/// A text that a device gave, without what steers a terminal or hides; one line of at most so many
/// units, maybe empty.
std::u16string readableText(std::u16string_view text, std::size_t most = std::u16string_view::npos);

}  // namespace zlk
