#include "directory/CDirectorInfo.h"

#include "directory/ContextId.h"
#include "directory/SettingsTree.h"
#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr WCHAR installedMark[] = u"*Installed*";

}  // namespace

bool CDirectorInfo::SplitSettingsId(const std::u16string& id, std::u16string& manufacturer,
                                    std::u16string& productClass, std::u16string& serial) const {
    TraceLine("CDirectorInfo", "SplitSettingsId(%s)", id);
    if (!splitIdentifier(id, manufacturer, productClass, serial)) return false;
    TraceLine("CDirectorInfo", "SplitSettingsId mfg(%s) prod(%s) sn(%s)", manufacturer,
              productClass, serial);
    return true;
}

bool CDirectorInfo::PutCameraEntry(const std::u16string& settingsId,
                                   const std::u16string& friendlyName) {
    TraceLine("CDirectorInfo", "PutCameraEntry sId(%s) name(%s)", settingsId, friendlyName);
    std::u16string manufacturer, productClass, serial;
    SplitSettingsId(settingsId, manufacturer, productClass, serial);
    if (productClass.empty()) return false;

    TraceLine("CDirectorInfo",
              "PutCameraEntry - Creating devInstanceKeyName(%s\\%s\\DeviceInstances\\0000)",
              settingsBaseKey, productClass);
    const RegistryKey instance = createSettings({productClass, u"DeviceInstances", u"0000"});
    if (!instance) TraceLine("CDirectorInfo", "PutCameraEntry - Failed to create devInstanceKey");
    if (const RegistryKey strings = regCreateKey(instance.get(), u"Strings", KEY_ALL_ACCESS)) {
        regWriteString(strings.get(), u"FriendlyName", u"0," + friendlyName);
    } else {
        TraceLine("CDirectorInfo", "PutCameraEntry - Failed to create fnameKey");
    }

    // The mark is written last: with it, lists show the class, whose instance must exist by then.
    const RegistryKey installed = createSettings({u"CtxMgr", u"ProductClasses"});
    if (!installed) {
        TraceLine("CDirectorInfo", "PutCameraEntry - Failed to create ctxMgrKey");
        return true;
    }
    // Lists follow the order of these marks, so the class that was seen last comes last, in the
    // spelling in which it was seen.
    regWriteStringAnew(installed.get(), productClass, installedMark);
    return true;
}

}  // namespace zlk
