#pragma once
// Reads and writes trees and single values of the settings store. Unless its comment says
// otherwise, an operation that fails throws Failure with the store's own reason: SettingsUnusable,
// or NoMemory.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/RegFile.h"

namespace zlk {

/// The key whose subkeys are the product classes and the sections of the settings, with a backslash
/// at its end.
inline constexpr std::u16string_view settingsTree =
    u"HKEY_LOCAL_MACHINE\\Software\\Zephyr-Lanthorn\\PictureSuite\\";

/// The path of a key: `HKEY_LOCAL_MACHINE\...` or `HKLM\...`, `HKEY_CLASSES_ROOT\...` or
/// `HKCR\...`; without a root it is below HKEY_LOCAL_MACHINE. The constructor throws Failure
/// (Usage) for any other root that begins with `HKEY_`.
struct SettingsPath {
    explicit SettingsPath(std::u16string_view text);
    HKEY root;
    std::u16string below;  ///< empty for the root itself
    /// The path with the root's full name.
    std::u16string full() const;
};

/// The operations on the store. There is no state between two calls, because each opens and closes
/// what it needs.
class SettingsStore {
  public:
    /// A key with its own values; throws if the key doesn't exist.
    static SettingsKey readKey(const SettingsPath& path);
    /// The names of a key's direct subkeys.
    static std::vector<std::u16string> subKeys(const SettingsPath& path);
    /// Like subKeys(), but empty if the key doesn't exist.
    static std::vector<std::u16string> subKeysIfAny(const SettingsPath& path);
    /// A key and everything below it; each key comes before its subkeys.
    static std::vector<SettingsKey> readTree(const SettingsPath& path);

    /// A text value of a key; empty if the key or the value doesn't exist, can't be read or isn't a
    /// text.
    static std::u16string text(const SettingsPath& path, std::u16string_view name);
    /// Sets a text value, and creates the key if necessary.
    static void setText(const SettingsPath& path, std::u16string_view name,
                        std::u16string_view text);

    /// Sets a value, and creates the key if necessary.
    static void setValue(const SettingsPath& path, SettingsValue value);
    /// Deletes a value; throws if it doesn't exist.
    static void removeValue(const SettingsPath& path, const std::u16string& name);
    /// Deletes a key and everything below it; throws if it doesn't exist, and Failure (Usage) for a
    /// root.
    static void removeKey(const SettingsPath& path);

    /// Carries out what a settings text says, in its order. Deleting what doesn't exist succeeds.
    /// Throws Failure (Usage) before the first change if a root is unknown or is to be deleted. Any
    /// other Failure names the line of the key at which it happened. All keys before that line are
    /// done then, and perhaps some values of the key itself.
    static void apply(const std::vector<SettingsKey>& keys);
    /// Gives a key these values and deletes its others. The new values are written first.
    static void replace(const SettingsKey& key);
};

}  // namespace zlk
