#include "platform/files/DeviceName.h"

#include "platform/text.h"

namespace zlk::platform {
namespace {

using Form = DeviceName::Form;

constexpr std::u16string_view slashes = u"\\/";

bool isDriveLetter(WCHAR unit) {
    const WCHAR letter = upperCase(unit);
    return letter >= u'A' && letter <= u'Z';
}

bool beginsWithDrive(std::u16string_view path) {
    return path.size() >= 2 && path[1] == u':' && isDriveLetter(path[0]);
}

/// Returns the form of a path, and removes a `\\.\` or `\\?\` from its front.
Form takeForm(std::u16string_view& path) {
    if (path.starts_with(u"\\\\.\\") || path.starts_with(u"\\\\?\\")) {
        const bool dot = path[2] == u'.';
        path.remove_prefix(4);
        // A volume has nothing but slashes after its colon; anything else is the name of a device.
        const bool volume = dot && beginsWithDrive(path) &&
                            path.find_first_not_of(slashes, 2) == std::u16string_view::npos;
        return volume ? Form::Volume : Form::Device;
    }
    if (path.starts_with(u"\\\\")) return Form::Share;
    if (beginsWithDrive(path)) return Form::Drive;
    return !path.empty() && slashes.find(path[0]) != slashes.npos ? Form::Machine : Form::Current;
}

}  // namespace

DeviceName parseDeviceName(std::u16string_view path) {
    DeviceName name{.form = takeForm(path), .components = {}};
    if (name.form == Form::Device) return name;
    if (name.form == Form::Volume || name.form == Form::Drive) {
        name.letter = upperCase(path[0]);
        path.remove_prefix(2);
    }
    const bool ownRoot = name.form == Form::Drive || name.form == Form::Share;
    // `..` doesn't remove the names of server and share.
    const std::size_t rootComponents = name.form == Form::Share ? 2 : 0;
    while (!path.empty()) {
        const std::u16string_view component = path.substr(0, path.find_first_of(slashes));
        path.remove_prefix(std::min(component.size() + 1, path.size()));
        if (component.empty() || component == u".") continue;
        if (component == u".." && ownRoot) {
            if (name.components.size() > rootComponents) name.components.pop_back();
        } else {
            name.components.push_back(component);
        }
    }
    return name;
}

}  // namespace zlk::platform
