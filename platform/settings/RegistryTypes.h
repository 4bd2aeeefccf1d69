#pragma once
// What the parts of the settings store hand to each other.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "platform/text.h"

namespace zlk::platform {

/// Thrown inside the store and turned into the result of the call at its entry.
struct RegistryFailure {
    DWORD code;
};

inline constexpr std::size_t maxRegistryKeyName = 255;      // units
inline constexpr std::size_t maxRegistryValueName = 16383;  // units
inline constexpr std::size_t maxRegistryLevels = 512;
inline constexpr std::size_t maxRegistryData = 1024 * 1024;  // bytes

/// A name in its spelling and in the form by which names compare.
struct RegistryName {
    std::u16string name;
    std::u16string folded;

    static RegistryName of(std::u16string_view text) {
        return {std::u16string(text), upperCase(text)};
    }
};

/// The way from a root to a key.
using RegistryPath = std::vector<RegistryName>;

struct RegistryValue {
    RegistryName name;
    DWORD type;
    DWORD size;
    std::optional<std::vector<BYTE>> data;  ///< nothing: too large to be kept at hand
};

using RegistryValues = std::vector<RegistryValue>;  ///< in the order of their making
using RegistryNames = std::vector<RegistryName>;    ///< sorted by `folded`

struct RegistryContent {
    RegistryValues values;  ///< each with its data
    RegistryNames subKeys;
};

/// Keys that stand read-only behind the store's own ones at one root, wherever they come from.
/// What the store has at the same path wins; enumerations join both.
class RegistryBackdrop {
  public:
    virtual ~RegistryBackdrop() = default;
    /// What the key has right now; null if there is no such key. Throws RegistryFailure.
    virtual std::shared_ptr<const RegistryContent> find(const RegistryPath& path) = 0;
};

}  // namespace zlk::platform
