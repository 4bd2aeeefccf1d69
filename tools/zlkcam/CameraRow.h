#pragma once
// A row of the camera table, made from what an attached camera says about itself. A camera may be
// hostile: what becomes the name of a key or a part of a context id holds only letters, digits, `_`
// and `-`.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/RegFile.h"
#include "tools/zlkcam/UsbCamera.h"

namespace zlk {

/// The most UTF-16 units of a camera's name. Longer names are cut.
inline constexpr std::size_t longestName = 60;
/// Sections of the settings, which have lists of product classes. None of these names can be a
/// product class itself.
inline constexpr std::u16string_view settingsSections[] = {u"Import", u"Unload", u"SwiftPost",
                                                           u"TagMgrDevices"};

/// The values that an adopted model gets in the camera table.
struct CameraRow {
    /// Makes class and name from the camera's product text. A class or a name for which the text
    /// has no usable character is made from the USB ids.
    explicit CameraRow(const UsbCamera& camera);

    /// The name of the model's key in the settings, and a part of the context id. isProductClass()
    /// has to be true for it.
    std::u16string productClass;
    /// USB ids as `VID_xxxx&PID_xxxx`.
    std::u16string pnpId;
    std::u16string name;  ///< at most longestName units, for people to read
    bool share = false;   ///< the camera takes a share menu, and tells its clock and diagnostics

    /// The context id under which cameras of the model are listed.
    std::u16string contextId() const;
    /// The path of the row's key in the settings.
    std::u16string key() const;
    /// The key with all values that it is to have.
    SettingsKey settings() const;
};

/// Whether a text can be the product class of a row: it has 1 to 40 letters, digits, `_` or `-`,
/// and isn't a name with another meaning in the settings.
bool isProductClass(std::u16string_view text);

/// Makes a text from a device fit to be shown: one line of at most `most` units. Each run of units
/// that people can't read, such as spaces, control characters and surrogates, becomes one space, or
/// nothing at the beginning and the end. The result may be empty.
std::u16string readableText(std::u16string_view text, std::size_t most = std::u16string_view::npos);

}  // namespace zlk
