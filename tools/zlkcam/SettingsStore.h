#pragma once
// Whole trees of the settings store, and single values of it. Every operation throws Failure
// (SettingsUnusable) with the store's own reason.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/RegFile.h"

namespace zlk {

/// What the system reads lies below it, product class by product class.
inline constexpr std::u16string_view settingsTree =
    u"HKEY_LOCAL_MACHINE\\Software\\Zephyr-Lanthorn\\PictureSuite\\";

/// A key by its path text, `HKEY_LOCAL_MACHINE\...` or `HKLM\...`, `HKEY_CLASSES_ROOT\...` or
/// `HKCR\...`; a path without a root is below HKEY_LOCAL_MACHINE. Throws Failure (Usage) for a
/// root that there isn't.
struct SettingsPath {
    explicit SettingsPath(std::u16string_view text);
    HKEY root;
    std::u16string below;  ///< empty: the root itself
    std::u16string full() const;
};

class SettingsStore {
  public:
    /// The key's own values; throws if there is no such key.
    static SettingsKey readKey(const SettingsPath& path);
    static std::vector<std::u16string> subKeys(const SettingsPath& path);
    /// None of a key that isn't there.
    static std::vector<std::u16string> subKeysIfAny(const SettingsPath& path);
    /// The key and everything below it, each key in front of its subkeys.
    static std::vector<SettingsKey> readTree(const SettingsPath& path);

    /// A text value of a key; empty if there is no such one, or no such key.
    static std::u16string text(const SettingsPath& path, std::u16string_view name);
    static void setText(const SettingsPath& path, std::u16string_view name,
                        std::u16string_view text);

    static void setValue(const SettingsPath& path, SettingsValue value);
    static void removeValue(const SettingsPath& path, const std::u16string& name);
    /// The key with all that lies below it; a root is refused.
    static void removeKey(const SettingsPath& path);

    /// Does what a settings text says, in its order; deleting what isn't there succeeds. A failure
    /// leaves what stands in front of it done, and says at which line it was.
    static void apply(const std::vector<SettingsKey>& keys);
    /// The key gets these values and keeps no others; they are written first.
    static void replace(const SettingsKey& key);
};

}  // namespace zlk
