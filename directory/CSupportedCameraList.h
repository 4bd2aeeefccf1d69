#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directory/CCamInfo.h"
#include "platform/types.h"

namespace zlk {

/// Every kind of camera that the system knows: the rows of the settings tree first, then the
/// built-in ones whose context id no row of the tree has. It stands as it was when it was built.
/// Each look-up gives a copy of the first row that matches, or one that isn't valid.
class CSupportedCameraList {
  public:
    CSupportedCameraList();
    virtual ~CSupportedCameraList();
    CSupportedCameraList(const CSupportedCameraList&) = delete;
    CSupportedCameraList& operator=(const CSupportedCameraList&) = delete;

    CCamInfo FindByVidPid(std::uint16_t vid, std::uint16_t pid) const;
    /// Both texts must be non-empty.
    CCamInfo FindByMsdcStrings(const std::u16string& vendor, const std::u16string& product) const;
    CCamInfo FindByContextId(const std::u16string& contextId) const;
    CCamInfo FindByPassThruClass(const std::u16string& productClass) const;

    const std::vector<CCamInfo>& rows() const { return cameras; }

  private:
    void loadFromSettings();
    void addBuiltIn();
    std::u16string composeFriendlyName(const std::u16string& model, bool series);

    std::vector<CCamInfo> cameras;
    // Looked for at the first need of a friendly name, and only then: null if there is none.
    std::optional<HMODULE> resourceModule;
};

}  // namespace zlk
