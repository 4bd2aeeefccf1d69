#include "tools/zlkcam/DeviceDirectory.h"

#include <algorithm>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

using ListProperty = HRESULT (IDeviceList::*)(BSTR*) noexcept;

std::vector<Device> readList(IDeviceList& list, ListProperty property) {
    Bstr document;
    if (FAILED((list.*property)(document.out())))
        throw Failure(ExitStatus::NotConnected, "The list of devices can't be read.");
    return parseDevices(document.view());
}

std::string listText(const std::vector<Device>& devices) {
    std::string text = "Attached now:";
    for (const Device& device : devices)
        text += "\n  " + utf8Text(device.contextId) + "  " + utf8Text(device.name);
    return text;
}

/// Whether a word is a drive letter: `E`, `E:` or `E:\`.
bool isDriveName(std::u16string_view word) {
    if (word.empty() || word.size() > 3 || upperCase(word[0]) < u'A' || upperCase(word[0]) > u'Z')
        return false;
    return word.size() == 1 || (word[1] == u':' && (word.size() == 2 || word[2] == u'\\'));
}

}  // namespace

void throwNotMade(const std::u16string& progId, HRESULT result) {
    const std::string name = utf8Text(progId);
    // The result says in which layer the creation failed, and each layer needs other advice.
    if (result == E_OUTOFMEMORY) throw Failure(ExitStatus::NoMemory, "There isn't enough memory.");
    if (result == CO_E_CLASSSTRING || result == REGDB_E_CLASSNOTREG)
        throw Failure(ExitStatus::NotRegistered, "The component " + name + " isn't registered.",
                      "Register the components once: zlkcam register");
    const std::string what = "The component " + name + " can't be used";
    if (const DWORD error = settingsError(result)) throw settingsFailure(what, error);
    throw moduleFailure(what, static_cast<DWORD>(result),
                        "Its module may have moved. Register again: zlkcam register");
}

DeviceDirectory::DeviceDirectory()
    : list_(createComponent<IDeviceList>(u"ZlkCamTr.DeviceList")),
      utils_(createComponent<IDeviceUtils>(u"ZlkCamTr.DeviceUtils")) {}

std::vector<Device> DeviceDirectory::unloadDevices() const {
    return readList(*list_.get(), &IDeviceList::get_UnloadDevices);
}

std::vector<Device> DeviceDirectory::shareDevices() const {
    return readList(*list_.get(), &IDeviceList::get_SwiftPostDevices);
}

std::vector<Device> DeviceDirectory::tagDevices() const {
    return readList(*list_.get(), &IDeviceList::get_TagDevices);
}

Device DeviceDirectory::find(std::u16string_view name) const {
    const std::vector<Device> devices = unloadDevices();
    if (devices.empty())
        throw Failure(ExitStatus::NotConnected, "No camera or card is attached.",
                      "Attach one, or use a folder as a card: zlkcam mount FOLDER");
    if (name.empty()) {
        if (devices.size() == 1) return devices.front();
        throw Failure(ExitStatus::Usage, "There are several devices; name one of them.",
                      listText(devices));
    }
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
        // A drive letter is compared with the path at which a card is reached; all else is a
        // context id.
        if (!isDriveName(name)) return equalIgnoringCase(device.contextId, name);
        const std::u16string root = lowLevelId(device.contextId);
        return root.size() > 1 && root[1] == u':' && upperCase(root[0]) == upperCase(name[0]);
    });
    if (found == devices.end())
        throw Failure(ExitStatus::NotConnected,
                      "No device \"" + utf8Text(name) + "\" is attached, or it has no card.",
                      listText(devices));
    return *found;
}

bool DeviceDirectory::isDeviceName(std::u16string_view word) {
    return word.starts_with(u'#') || isDriveName(word);
}

std::u16string DeviceDirectory::translated(Translation method, const std::u16string& text) const {
    Bstr answer;
    // A failure leaves `answer` empty.
    (utils_.get()->*method)(Bstr(text).get(), answer.out());
    return std::u16string(answer.view());
}

std::u16string DeviceDirectory::lowLevelId(const std::u16string& contextId) const {
    return translated(&IDeviceUtils::ContextIdToLowLevelId, contextId);
}

std::u16string DeviceDirectory::cameraPort(const std::u16string& contextId) const {
    return translated(&IDeviceUtils::ContextIdToCameraPort, contextId);
}

std::u16string DeviceDirectory::unloadInterface(const std::u16string& contextId) const {
    return translated(&IDeviceUtils::ContextIdToUnloadInterface, contextId);
}

std::u16string DeviceDirectory::contextIdOf(const std::u16string& pnpId) const {
    return translated(&IDeviceUtils::CameraVidPidToContextId, pnpId);
}

bool DeviceDirectory::allowsDelete(const std::u16string& contextId) const {
    SHORT allowed = 0;
    return utils_->AllowDeleteForContextId(Bstr(contextId).get(), &allowed) == S_OK && allowed == 1;
}

}  // namespace zlk
