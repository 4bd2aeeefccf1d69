#pragma once
// The types that the parts of the settings store share.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "platform/text.h"

namespace zlk::platform {

/// Thrown inside the settings store. Unless it is caught there, the public call returns `code`.
struct RegistryFailure {
    DWORD code;
};

inline constexpr std::size_t maxRegistryKeyName = 255;      // units
inline constexpr std::size_t maxRegistryValueName = 16383;  // units
inline constexpr std::size_t maxRegistryLevels = 512;
inline constexpr std::size_t maxRegistryData = 1024 * 1024;  // bytes

/// The name of a key or value, as it is spelled and as it is compared.
struct RegistryName {
    std::u16string name;
    std::u16string folded;  // in upper case

    static RegistryName of(std::u16string_view text) {
        return {std::u16string(text), upperCase(text)};
    }
};

/// The names from a root down to a key; empty for the root.
using RegistryPath = std::vector<RegistryName>;

struct RegistryValue {
    RegistryName name;
    DWORD type;
    DWORD size;                             // bytes
    std::optional<std::vector<BYTE>> data;  ///< none: too large to be kept with the others
};

using RegistryValues = std::vector<RegistryValue>;  ///< in the order of their making
using RegistryNames = std::vector<RegistryName>;    ///< sorted by `folded`

/// What a RegistryBackdrop has of one key.
struct RegistryContent {
    RegistryValues values;  ///< each with its data
    RegistryNames subKeys;
};

/// Read-only keys from another source, which are joined with the store's own keys below one root.
/// Enumerations show the keys and values of both. Two keys of one name appear as one key, joined in
/// the same way. Of two values of one name, the store's counts.
class RegistryBackdrop {
  public:
    virtual ~RegistryBackdrop() = default;
    /// The content of a key right now; null if there is no such key. Throws RegistryFailure.
    virtual std::shared_ptr<const RegistryContent> find(const RegistryPath& path) = 0;
};

}  // namespace zlk::platform
