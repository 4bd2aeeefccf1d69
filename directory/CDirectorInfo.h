#pragma once
// Registers cameras in the settings tree once they have been seen.

#include <string>

namespace zlk {

/// Has no state, so any thread may use it.
class CDirectorInfo {
  public:
    virtual ~CDirectorInfo() = default;

    /// Traces and splits the id, which has the form of a context id; see splitIdentifier() in
    /// ContextId.h.
    bool SplitSettingsId(const std::u16string& id, std::u16string& manufacturer,
                         std::u16string& productClass, std::u16string& serial) const;

    /// Makes the instance `0000` of the id's product class, with this name, and then marks the
    /// class as installed. Does as much as it can: false only if the id names no product class.
    /// Several processes may do this at once.
    bool PutCameraEntry(const std::u16string& settingsId, const std::u16string& friendlyName);
};

}  // namespace zlk
