#include "directory/CContextMgrInfo.h"

#include <set>

#include "directory/ContextId.h"
#include "directory/SettingsTree.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "platform/text.h"

namespace zlk {
namespace {

constexpr WCHAR productClasses[] = u"ProductClasses";

std::u16string textValue(const RegistryKey& key, const WCHAR* name) {
    std::u16string value;
    regReadString(key.get(), name, value);
    return value;
}

/// The settings of a product class for unloading. Older programs write them to `Unload`. That key
/// is read only if `Import` has no key for the class; values from both are never mixed.
RegistryKey openUnloadSettings(const std::u16string& productClass) {
    RegistryKey key = openSettings({u"Import", productClasses, productClass});
    return key ? std::move(key) : openSettings({u"Unload", productClasses, productClass});
}

/// The names of a key's values. They are read one by one, and meanwhile another process may move a
/// value to the end. Then that value may be met twice and another one skipped, so all names are
/// read again.
std::vector<std::u16string> valueNames(HKEY key) {
    constexpr int patience = 100;  // how often all names are read, at most
    std::vector<std::u16string> names;
    for (int round = 0; round < patience; ++round) {
        names.clear();
        std::set<std::u16string> met;
        bool moved = false;
        const std::uint32_t count = regCountValues(key);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::u16string& name = names.emplace_back(regEnumValueName(key, i));
            if (!name.empty() && !met.insert(upperCase(name)).second) moved = true;
        }
        // The names are complete if no value was met twice and the number of values is still the
        // same.
        if (!moved && regCountValues(key) == count) break;
    }
    return names;
}

}  // namespace

bool CContextMgrInfo::SplitContextId(const std::u16string& id, std::u16string& manufacturer,
                                     std::u16string& productClass, std::u16string& serial) const {
    TraceLine("CContextMgrInfo", "SplitContextId(%s)", id);
    if (!splitIdentifier(id, manufacturer, productClass, serial)) return false;
    TraceLine("CContextMgrInfo", "SplitContextId mfg(%s) prod(%s) sn(%s)", manufacturer,
              productClass, serial);
    return true;
}

std::u16string CContextMgrInfo::productClassOf(const std::u16string& id) const {
    std::u16string manufacturer, productClass, serial;
    SplitContextId(id, manufacturer, productClass, serial);
    return productClass;
}

std::u16string CContextMgrInfo::classProgId(const std::u16string& id, const WCHAR* section,
                                            const WCHAR* value) const {
    return textValue(openSettings({section, productClasses, productClassOf(id)}), value);
}

std::u16string CContextMgrInfo::GetUnloadProgId(const std::u16string& id) const {
    return classProgId(id, u"Import", u"ProgId");
}

std::u16string CContextMgrInfo::GetTSBProgId(const std::u16string& id) const {
    return classProgId(id, u"Import", u"TSBProgId_v1");
}

std::u16string CContextMgrInfo::GetSwiftPostProgId(const std::u16string& id) const {
    return classProgId(id, u"SwiftPost", u"ProgId");
}

std::u16string CContextMgrInfo::GetTagProgId(const std::u16string& id) const {
    return classProgId(id, u"TagMgrDevices", u"ProgId");
}

std::u16string CContextMgrInfo::GetDevListProgId() const {
    return textValue(openSettings({u"Import", productClasses}), u"DevListProgId_v1");
}

std::u16string CContextMgrInfo::GetDevUtilsProgId() const {
    return textValue(openSettings({u"Import", productClasses}), u"DevUtilsProgId_v1");
}

std::u16string CContextMgrInfo::GetCheckMediaMethod(const std::u16string& id) const {
    return upperCase(textValue(openUnloadSettings(productClassOf(id)), u"MediaCheck"));
}

std::uint32_t CContextMgrInfo::GetFileEnumTimeout(const std::u16string& id) const {
    std::uint32_t passes = 0;
    regReadDword(openUnloadSettings(productClassOf(id)).get(), u"FileEnumTimeout", passes);
    return passes;
}

bool CContextMgrInfo::GetAllowDelete(const std::u16string& id) const {
    const std::u16string text = textValue(openUnloadSettings(productClassOf(id)), u"AllowDelete");
    return !equalIgnoringCase(trimmed(text), u"FALSE");
}

std::u16string CContextMgrInfo::GetStorageId(const std::u16string& id) const {
    std::u16string manufacturer, productClass, serial;
    SplitContextId(id, manufacturer, productClass, serial);
    const RegistryKey key =
        openSettings({productClass, u"DeviceInstances", serial, u"Functions", u"Storage"});
    const std::u16string device = textValue(key, u"DeviceInstanceID");
    return device.empty() ? textValue(key, u"UNCPath") : device;
}

std::u16string CContextMgrInfo::GetFriendlyName(const std::u16string& id) const {
    std::u16string manufacturer, productClass, serial;
    SplitContextId(id, manufacturer, productClass, serial);
    // The value is "0," followed by the name.
    std::u16string name = textValue(
        openSettings({productClass, u"DeviceInstances", serial, u"Strings"}), u"FriendlyName");
    name.erase(0, name.find_first_not_of(u'0'));
    name.erase(0, name.find_first_not_of(u','));
    return name;
}

std::vector<std::u16string> CContextMgrInfo::GetInstalledProductClasses() const {
    std::vector<std::u16string> installed;
    const RegistryKey key = openSettings({u"CtxMgr", productClasses});
    for (std::u16string& name : valueNames(key.get())) {
        std::u16string mark;
        if (!regReadString(key.get(), name, mark)) continue;
        // The mark is "*Installed*", and counts without the asterisks too.
        mark.erase(0, mark.find_first_not_of(u'*'));
        mark.erase(mark.find_last_not_of(u'*') + 1);
        if (equalIgnoringCase(mark, u"Installed")) installed.push_back(std::move(name));
    }
    return installed;
}

std::vector<std::u16string> CContextMgrInfo::GetDeviceInstances(
    const std::u16string& productClass) const {
    std::vector<std::u16string> instances;
    const RegistryKey key = openSettings({productClass, u"DeviceInstances"});
    const std::uint32_t count = regCountSubKeys(key.get());
    for (std::uint32_t i = 0; i < count; ++i) {
        std::u16string name = regEnumKeyName(key.get(), i);
        if (!name.empty()) instances.push_back(std::move(name));
    }
    return instances;
}

std::vector<std::u16string> CContextMgrInfo::GetInstalledContextIds() const {
    std::vector<std::u16string> ids;
    for (const std::u16string& productClass : GetInstalledProductClasses()) {
        for (const std::u16string& instance : GetDeviceInstances(productClass))
            ids.push_back(makeContextId(productClass, instance));
    }
    return ids;
}

}  // namespace zlk
