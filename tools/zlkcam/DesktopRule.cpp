#include "tools/zlkcam/DesktopRule.h"

#include "platform/files.h"
#include "platform/text.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/TextFile.h"

namespace zlk {
namespace {

/// The four hexadecimal digits of a USB id, as udev has them.
std::string digits(std::uint16_t id) {
    return utf8Text(formatText(u"%04x", id));
}

bool hasText(const std::u16string& file, const std::string& text) {
    try {
        return readFileBytes(file, text.size()) == text;
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace

// The number in the name puts the rule after those that mark a camera: the hardware database's
// (50), media-player-info's (40) and libgphoto2's (60). The rule comes before libmtp's (69), which
// would open the camera to probe it, and mark it again. The monitors of gvfs only look whether
// ID_GPHOTO2 or ID_MTP_DEVICE exists, and an empty value removes a property; KDE's Solid also looks
// for ID_MEDIA_PLAYER. A camera's interfaces have these properties, too. So the rule uses ATTRS,
// which also looks at the parents of a device for the ids.
DesktopRule::DesktopRule(std::uint16_t vid, std::uint16_t pid)
    : fileName_("65-zlkcam-" + digits(vid) + '-' + digits(pid) + ".rules"),
      text_(
          "# Keeps desktops' file managers away from this camera, so that zlkcam can open it.\n"
          "# Take the file away, and they have it again.\n"
          "ACTION!=\"remove\", SUBSYSTEM==\"usb\", ATTRS{idVendor}==\"" +
          digits(vid) + "\", ATTRS{idProduct}==\"" + digits(pid) +
          "\", ENV{ID_GPHOTO2}=\"\", ENV{ID_MTP_DEVICE}=\"\", ENV{ID_MEDIA_PLAYER}=\"\", "
          "ENV{MTP_NO_PROBE}=\"1\"\n") {}

std::u16string DesktopRule::writeInto(const std::u16string& folder) const {
    std::u16string file = folder + u'/' + wideText(fileName_);
    try {
        writeNewFile(file, text_);
    } catch (const Failure& failure) {
        // An earlier run may have written the rule.
        if (hasText(file, text_)) return file;
        const bool isAnothers = GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
        throw Failure(failure.status, std::string("Nothing is written. ") + failure.what(),
                      isAnothers
                          ? "Somebody wrote another rule there: look at it, and take it away."
                          : "As root you may: zlkcam adopt --udev . writes the rule here, and\n"
                            "  sudo cp " +
                                fileName_ + ' ' + udevRulesFolder);
    }
    return file;
}

}  // namespace zlk
