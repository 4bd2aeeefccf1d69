// Drives: which device a volume belongs to, where a device is mounted, what it is called, and
// whether it can be reached.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtilFunctions.h"
#include "foundation/ComponentText.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "interfaces/IDriveMapper.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/volumes.h"

namespace zlk {
namespace {

constexpr char category[] = "CDeviceUtilFunctions";
constexpr DWORD descriptorRoom = 1000;  // bytes

std::u16string driveRoot(WCHAR letter) {
    return std::u16string{letter, u':', u'\\'};
}

/// Turns a pseudo drive id's last part into a path: each `%%` stands for a backslash.
std::u16string pathOf(std::u16string serial) {
    for (std::size_t at = 0; (at = serial.find(u"%%", at)) != std::u16string::npos; ++at)
        serial.replace(at, 2, u"\\");
    return serial;
}

/// The text at `offset` of a storage device's answer of `size` bytes, trimmed and in upper case. An
/// offset inside of the descriptor, or outside of the answer, gives an empty text.
std::u16string descriptorText(const char* answer, DWORD size, DWORD offset) {
    if (offset < sizeof(STORAGE_DEVICE_DESCRIPTOR) || offset >= size) return {};
    const std::string_view rest(answer + offset, size - offset);
    return upperCase(trimmed(wideText(rest.substr(0, rest.find('\0')))));
}

}  // namespace

std::vector<std::u16string> CDeviceUtilFunctions::DriveRoots() {
    constexpr DWORD room = 128;
    WCHAR strings[room];
    const DWORD length = GetLogicalDriveStringsW(room, strings);
    std::vector<std::u16string> roots;
    // The texts follow one another, each with a terminating zero.
    std::u16string_view left(strings, length < room ? length : 0);
    while (!left.empty()) {
        const std::size_t end = std::min(left.find(u'\0'), left.size());
        if (end > 0) roots.emplace_back(left.substr(0, end));
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return roots;
}

bool CDeviceUtilFunctions::isPseudoDriveId(const std::u16string& id) {
    const std::u16string upper = upperCase(id);
    return upper.find(u"#ZEPHYR-LANTHORN#REMOVABLEDRIVE#") != std::u16string::npos ||
           upper.find(u"#ZEPHYR-LANTHORN#CDROMDRIVE#") != std::u16string::npos;
}

std::u16string CDeviceUtilFunctions::PseudoDriveRoot(const std::u16string& id) {
    if (!isPseudoDriveId(id)) return {};
    const std::u16string upper = upperCase(id);
    const std::u16string tail = upper.substr(upper.rfind(u'#') + 1);
    // A tail of more than two units is a path. In a shorter one only the first unit counts, which
    // has to be a drive letter.
    if (tail.size() > 2) return pathOf(tail);
    const bool isLetter = !tail.empty() && tail[0] >= u'A' && tail[0] <= u'Z';
    return isLetter ? driveRoot(tail[0]) : std::u16string();
}

std::u16string CDeviceUtilFunctions::RootFromUsbVolume(const std::u16string& id) {
    if (id.empty()) return {};  // it would equal the id of every volume that is no known camera
    for (const std::u16string& root : DriveRoots()) {
        if (GetDriveTypeW(root.c_str()) == DRIVE_REMOVABLE &&
            equalIgnoringCase(VolumeToContextId(root), id))
            return driveRoot(root[0]);
    }
    return {};
}

std::u16string CDeviceUtilFunctions::VolumeToContextId(const std::u16string& drive) {
    std::u16string vendor, product;
    if (drive.empty() || !VolumeStrings(drive[0], vendor, product)) return {};
    const CCamInfo row = GetCameraList().FindByMsdcStrings(vendor, product);
    return row.valid ? InstalledContextId(row.contextId) : std::u16string();
}

bool CDeviceUtilFunctions::VolumeStrings(WCHAR letter, std::u16string& vendor,
                                         std::u16string& product) {
    if (GetDriveTypeW(driveRoot(letter).c_str()) != DRIVE_REMOVABLE) return false;
    const std::u16string name = std::u16string(u"\\\\.\\") + letter + u':';
    const UniqueHandle volume(CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_READONLY,
                                          nullptr));
    if (!volume) return false;

    // A query of zeros asks for the storage device's descriptor. Its texts follow it at offsets,
    // which the device determines and which are therefore checked.
    const STORAGE_PROPERTY_QUERY query{};
    alignas(STORAGE_DEVICE_DESCRIPTOR) char answer[descriptorRoom];
    DWORD size = 0;
    if (!DeviceIoControl(volume.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, answer,
                         descriptorRoom, &size, nullptr))
        return false;
    size = std::min(size, descriptorRoom);
    if (size < sizeof(STORAGE_DEVICE_DESCRIPTOR)) return false;
    STORAGE_DEVICE_DESCRIPTOR descriptor;
    std::memcpy(&descriptor, answer, sizeof descriptor);
    vendor = descriptorText(answer, size, descriptor.VendorIdOffset);
    product = descriptorText(answer, size, descriptor.ProductIdOffset);
    return true;
}

std::u16string CDeviceUtilFunctions::ContextIdToDriveLetter(const std::u16string& id) {
    constexpr char mapperCategory[] = "CPrinterDrive";
    TraceLine(mapperCategory, "ContextIdToDriveLetter (%s)", id);
    ComPtr<IDriveMapper> mapper;
    mapper.create(driveMapperProgId);
    if (!mapper) {
        TraceLine(mapperCategory, "ContextIdToDriveLetter - Failed CoCreate");
        return {};
    }
    if (mapper->put_ContextId(makeBstr(id).get()) != S_OK) {
        TraceLine(mapperCategory, "ContextIdToDriveLetter - Failed put_ContextId");
        return {};
    }
    Bstr answer;
    if (mapper->get_DrivePrefix(answer.out()) != S_OK) {
        TraceLine(mapperCategory, "ContextIdToDriveLetter - Failed get_DrivePrefix");
        return {};
    }
    std::u16string prefix(answer.view());
    TraceLine(mapperCategory, "ContextIdToDriveLetter Answer(%s)", prefix);
    // An answer that isn't empty is a network path or begins with a drive letter.
    if (prefix.empty() || prefix[0] == u'\\') return prefix;
    return driveRoot(prefix[0]);
}

std::u16string CDeviceUtilFunctions::DriveToContextId(const std::u16string& drive) {
    std::u16string result = VolumeToContextId(drive);
    if (result.empty() && !drive.empty()) {
        // No known camera has the volume's strings, but an instance may be mounted on the drive.
        for (std::u16string& id : CContextMgrInfo().GetInstalledContextIds()) {
            const std::u16string root = ContextIdToDriveLetter(id);
            if (!root.empty() && root[0] == drive[0]) result = std::move(id);
        }
    }
    TraceLine(category, "DriveToContextId (%s)->(%s)", drive, result);
    return result;
}

std::u16string CDeviceUtilFunctions::ContextIdToName(const std::u16string& id) {
    const CContextMgrInfo settings;
    std::u16string registered = settings.GetFriendlyName(id);
    if (!registered.empty() || !isPseudoDriveId(id)) return registered;
    std::u16string manufacturer, productClass, serial;
    settings.SplitContextId(id, manufacturer, productClass, serial);
    if (serial.empty()) return {};
    if (serial.size() > 1 && serial[1] == u'.') return pathOf(serial);
    std::u16string root = serial + u":\\";
    WCHAR label[200];
    if (!GetVolumeInformationW(root.c_str(), label, std::size(label), nullptr, nullptr, nullptr,
                               nullptr, 0) ||
        !label[0])
        return root;
    return std::u16string(label) + u" (" + serial + u":)";
}

bool CDeviceUtilFunctions::IsContextIdUnloadable(const std::u16string& id) {
    TraceLine(category, "IsContextIdUnloadable (%s)", id);
    const std::u16string lowLevelId = ContextIdToLowLevelId(id);
    TraceLine(category, "   LLid(%s)", lowLevelId);
    if (lowLevelId.empty()) return false;
    // The low-level id of a device on USB begins with VID. An id with VID further back stands for a
    // camera that has to be plugged into a pass-through device.
    const std::size_t vid = lowLevelId.find(u"VID");
    if (vid == std::u16string::npos || vid == 0) return IsDriveUnloadable(lowLevelId);
    return !findCameraPort(VidFromDeviceId(lowLevelId), PidFromDeviceId(lowLevelId), true).empty();
}

bool CDeviceUtilFunctions::IsDriveUnloadable(const std::u16string& path) {
    TraceLine(category, "IsDriveUnloadable");
    if (path.empty()) return false;
    const bool isNetworkPath = path.compare(0, 2, u"\\\\") == 0;
    const std::u16string root = isNetworkPath ? path : driveRoot(upperCase(path[0]));
    // INVALID_FILE_ATTRIBUTES includes FILE_ATTRIBUTE_DIRECTORY, so a root that doesn't exist
    // counts as reachable. So does a reader without a card, and a camera, whose id leads to no
    // drive. Only a root that is a file is refused.
    return (GetFileAttributesW(root.c_str()) & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace zlk
