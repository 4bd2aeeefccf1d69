#include "siblings/common/MountPlace.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/registry.h"
#include "platform/text.h"
#include "platform/volumes.h"

namespace zlk {
namespace {

/// The parts of `#<manufacturer>#<product class>#<serial>`.
struct ContextId {
    std::u16string_view manufacturer, productClass, serial;
};

std::optional<ContextId> split(std::u16string_view id) {
    constexpr auto none = std::u16string_view::npos;
    const std::size_t first = id.find(u'#');
    const std::size_t second = first == none ? none : id.find(u'#', first + 1);
    const std::size_t third = second == none ? none : id.find(u'#', second + 1);
    if (third == none) return std::nullopt;
    return ContextId{id.substr(first + 1, second - first - 1),
                     id.substr(second + 1, third - second - 1), id.substr(third + 1)};
}

bool isDriveId(const ContextId& id) {
    return equalIgnoringCase(id.manufacturer, u"Zephyr-Lanthorn") &&
           (equalIgnoringCase(id.productClass, u"RemovableDrive") ||
            equalIgnoringCase(id.productClass, u"CDROMDrive"));
}

/// A path in a drive's id has `%%` for each backslash.
std::u16string withBackslashes(std::u16string_view text) {
    std::u16string path;
    while (!text.empty()) {
        const bool mark = text.starts_with(u"%%");
        path += mark ? u'\\' : text.front();
        text.remove_prefix(mark ? 2 : 1);
    }
    return path;
}

/// A text from the settings. Empty if the value is missing, isn't a text, is too long, or can't be
/// read.
std::u16string readText(HKEY key, const WCHAR* name) {
    std::array<WCHAR, 512> text{};
    DWORD size = sizeof(text) - sizeof(WCHAR);
    DWORD type = REG_NONE;
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size) !=
            ERROR_SUCCESS ||
        type != REG_SZ) {
        return {};
    }
    return text.data();
}

/// The text by which the settings say where an instance's storage is; empty if there is none.
std::u16string storageOf(const ContextId& id) {
    // A part with a backslash in it would lead to a key outside of the instance's own.
    if (id.productClass.find(u'\\') != std::u16string_view::npos ||
        id.serial.find(u'\\') != std::u16string_view::npos) {
        return {};
    }
    std::u16string path = u"Software\\Zephyr-Lanthorn\\PictureSuite\\";
    path.append(id.productClass).append(u"\\DeviceInstances\\");
    path.append(id.serial).append(u"\\Functions\\Storage");
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return {};
    }
    const RegistryKey key(opened);
    std::u16string storage = readText(key.get(), u"DeviceInstanceID");
    return storage.empty() ? readText(key.get(), u"UNCPath") : storage;
}

bool isFolder(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

/// The root of the drive with this letter; empty if there is no such drive.
std::u16string existingDrive(WCHAR letter) {
    letter = upperCase(letter);
    if (letter < u'A' || letter > u'Z') return {};
    std::u16string root{letter, u':', u'\\'};
    return GetDriveTypeW(root.c_str()) == DRIVE_NO_ROOT_DIR ? std::u16string() : root;
}

bool isDriveLetter(std::u16string_view text) {
    return text.size() == 1 || (text.size() == 2 && text[1] == u':') ||
           (text.size() == 3 && text.substr(1) == u":\\");
}

/// The roots of all drives that take cards or discs.
std::vector<std::u16string> cardDrives() {
    std::array<WCHAR, 128> roots{};
    const DWORD length = GetLogicalDriveStringsW(roots.size(), roots.data());
    std::vector<std::u16string> drives;
    if (length >= roots.size()) return drives;
    for (const WCHAR* root = roots.data(); *root; root += drives.back().size() + 1) {
        drives.emplace_back(root);
    }
    std::erase_if(drives, [](const std::u16string& root) {
        const UINT type = GetDriveTypeW(root.c_str());
        return type != DRIVE_REMOVABLE && type != DRIVE_CDROM;
    });
    return drives;
}

/// The text at `offset` of a storage device's answer, in upper case and without blanks at its ends.
std::u16string textAt(std::string_view answer, DWORD offset) {
    if (offset == 0 || offset >= answer.size()) return {};
    std::string_view text = answer.substr(offset);
    text = text.substr(0, text.find('\0'));
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return {};
    text = text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
    return upperCase(wideText(text));
}

/// Whether `storage`, in upper case, names the storage device that the drive is on.
bool namesDrive(std::u16string_view storage, const std::u16string& root) {
    const std::u16string volume{u'\\', u'\\', u'.', u'\\', root[0], u':'};
    const UniqueHandle device(CreateFileW(volume.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const STORAGE_PROPERTY_QUERY query{};
    alignas(STORAGE_DEVICE_DESCRIPTOR) std::array<char, 1024> answer{};
    DWORD size = 0;
    if (!device ||
        !DeviceIoControl(device.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query),
                         answer.data(), answer.size(), &size, nullptr) ||
        size < sizeof(STORAGE_DEVICE_DESCRIPTOR)) {
        return false;
    }
    STORAGE_DEVICE_DESCRIPTOR descriptor;
    std::memcpy(&descriptor, answer.data(), sizeof(descriptor));
    const std::string_view all(answer.data(), std::min<std::size_t>(size, answer.size()));
    const std::u16string vendor = textAt(all, descriptor.VendorIdOffset);
    const std::u16string product = textAt(all, descriptor.ProductIdOffset);
    if (product.empty()) return false;

    // `storage` may be the vendor and the product, or a device instance id that contains both. In
    // an instance id, underscores take the place of blanks.
    if (storage == (vendor.empty() ? product : vendor + u' ' + product)) return true;
    std::u16string inInstanceId = u"&VEN_" + vendor + u"&PROD_" + product;
    std::replace(inInstanceId.begin(), inInstanceId.end(), u' ', u'_');
    const std::size_t found = storage.find(inInstanceId);
    if (found == std::u16string_view::npos) return false;
    // The product has to end here, or one called `GLIMMERBOX 53` would also match `GLIMMERBOX 539`.
    const std::u16string_view behind = storage.substr(found + inInstanceId.size());
    return behind.empty() || behind.front() == u'&' || behind.front() == u'\\';
}

/// A drive that `storage` names, preferably one with a card in it; empty if there is none.
std::u16string driveNamed(const std::u16string& storage) {
    const std::u16string name = upperCase(storage);
    std::u16string found;
    for (const std::u16string& root : cardDrives()) {
        if (!namesDrive(name, root)) continue;
        if (hasMedium(root)) return root;
        if (found.empty()) found = root;
    }
    return found;
}

}  // namespace

std::u16string mountPlace(std::u16string_view contextId) {
    const auto id = split(contextId);
    // The platform would end a text at a zero in it, and so find another device.
    if (!id || contextId.find(u'\0') != std::u16string_view::npos) return {};
    const std::u16string storage = isDriveId(*id) ? withBackslashes(id->serial) : storageOf(*id);
    if (storage.empty()) return {};
    if (isDriveLetter(storage)) return existingDrive(storage[0]);
    if (storage.starts_with(u"\\\\")) return isFolder(storage) ? storage : std::u16string();
    return isDriveId(*id) ? std::u16string() : driveNamed(storage);
}

bool hasMedium(const std::u16string& place) {
    if (place.starts_with(u"\\\\")) return isFolder(place);
    return GetVolumeInformationW(place.c_str(), nullptr, 0, nullptr, nullptr, nullptr, nullptr,
                                 0) != 0;
}

}  // namespace zlk
