#include "platform/drives/CardMountStore.h"

#include <algorithm>

#include "platform/drives/DriveLetters.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr WCHAR mountsKey[] = u"Software\\Zephyr-Lanthorn\\Platform\\Mounts";
constexpr DWORD maxTextBytes = 64 * 1024;  // a longer text is none of ours

std::u16string keyOf(WCHAR letter) {
    return std::u16string(mountsKey) + u'\\' + letter;
}

/// The text that the key has under this name, up to its first zero. It is empty if the key has no
/// such text, if the text is longer than any of ours, or if it can't be read.
std::u16string readText(const RegistryKey& key, const WCHAR* name) {
    DWORD type = 0, size = 0;
    std::u16string text;
    LSTATUS result = RegQueryValueExW(key.get(), name, nullptr, &type, nullptr, &size);
    // The size is asked for first. A writer may replace the text by a longer one before it is read;
    // then the loop reads again, with the new size.
    while (result == ERROR_SUCCESS && type == REG_SZ && size <= maxTextBytes) {
        // Rounded up, for a text that ends with half a unit.
        text.resize((size + 1) / sizeof(WCHAR));
        size = static_cast<DWORD>(text.size() * sizeof(WCHAR));
        result = RegQueryValueExW(key.get(), name, nullptr, &type,
                                  reinterpret_cast<BYTE*>(text.data()), &size);
        if (result == ERROR_MORE_DATA) {
            result = ERROR_SUCCESS;
            continue;
        }
        if (result != ERROR_SUCCESS || type != REG_SZ) break;
        return text.substr(0, std::min(text.find(u'\0'), std::size_t{size / sizeof(WCHAR)}));
    }
    return {};
}

LSTATUS writeText(const RegistryKey& key, const WCHAR* name, const std::u16string& text) {
    return RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

RegistryKey openKey(const std::u16string& path) {
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
    return RegistryKey(key);
}

}  // namespace

std::optional<CardMount> readCardMount(WCHAR letter) {
    const RegistryKey key = openKey(keyOf(letter));
    if (!key) return std::nullopt;
    CardMount mount{.folder = readText(key, u"Folder"),
                    .letter = letter,
                    .label = readText(key, u"Label"),
                    .vendor = readText(key, u"Vendor"),
                    .product = readText(key, u"Product")};
    DWORD type = 0, disc = 0, size = sizeof disc;
    if (RegQueryValueExW(key.get(), u"CdRom", nullptr, &type, reinterpret_cast<BYTE*>(&disc),
                         &size) == ERROR_SUCCESS &&
        type == REG_DWORD)
        mount.cdrom = disc != 0;
    if (!mount.folder.starts_with(u'/')) return std::nullopt;
    return mount;
}

std::vector<CardMount> readCardMounts() {
    std::vector<CardMount> mounts;
    const RegistryKey key = openKey(mountsKey);
    for (DWORD index = 0; key; ++index) {
        WCHAR name[256];
        DWORD length = 256;
        const LSTATUS result =
            RegEnumKeyExW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (result != ERROR_SUCCESS) break;
        const WCHAR letter = upperCase(name[0]);
        if (length != 1 || letter < firstLetter || letter > lastLetter) continue;
        if (auto mount = readCardMount(letter)) mounts.push_back(std::move(*mount));
    }
    return mounts;
}

std::u16string mountedLetters() {
    std::u16string letters;
    for (const CardMount& mount : readCardMounts()) letters += mount.letter;
    return letters;
}

LSTATUS writeCardMount(const CardMount& mount) {
    HKEY made = nullptr;
    LSTATUS result =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyOf(mount.letter).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &made, nullptr);
    const RegistryKey key(made);
    const DWORD disc = mount.cdrom;
    if (result == ERROR_SUCCESS) result = writeText(key, u"Label", mount.label);
    if (result == ERROR_SUCCESS) result = writeText(key, u"Vendor", mount.vendor);
    if (result == ERROR_SUCCESS) result = writeText(key, u"Product", mount.product);
    if (result == ERROR_SUCCESS)
        result = RegSetValueExW(key.get(), u"CdRom", 0, REG_DWORD,
                                reinterpret_cast<const BYTE*>(&disc), sizeof disc);
    // The folder is written last: only with it does the mount count.
    if (result == ERROR_SUCCESS) result = writeText(key, u"Folder", mount.folder);
    return result;
}

LSTATUS removeCardMount(WCHAR letter) {
    return RegDeleteTreeW(HKEY_LOCAL_MACHINE, keyOf(letter).c_str());
}

}  // namespace zlk::platform
