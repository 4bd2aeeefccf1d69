#pragma once
#include <string>

namespace zlk {

/// Writes the entries by which a camera is known once it has been seen.
class CDirectorInfo {
  public:
    virtual ~CDirectorInfo() = default;

    /// See splitIdentifier in ContextId.h; a settings id is the same text as a context id.
    bool SplitSettingsId(const std::u16string& id, std::u16string& manufacturer,
                         std::u16string& productClass, std::u16string& serial) const;

    /// Gives the product class of the id its instance `0000`, with this name, and then marks the
    /// class as installed. It does what it can: false only if the id names no product class. Two
    /// processes may do it at once.
    bool PutCameraEntry(const std::u16string& settingsId, const std::u16string& friendlyName);
};

}  // namespace zlk
