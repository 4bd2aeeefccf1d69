#pragma once
// The table of supported cameras.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directory/CCamInfo.h"
#include "platform/types.h"

namespace zlk {

/// All kinds of cameras and pass-through devices that the system knows: first the complete rows of
/// the settings tree, then the built-in rows whose context id none of these rows has. The table
/// doesn't change after it is built, so any thread may use it. Each search returns a copy of the
/// first row that matches, or a row that isn't valid.
class CSupportedCameraList {
  public:
    /// Reads the settings tree. Throws std::bad_alloc.
    CSupportedCameraList();
    virtual ~CSupportedCameraList();
    CSupportedCameraList(const CSupportedCameraList&) = delete;
    CSupportedCameraList& operator=(const CSupportedCameraList&) = delete;

    CCamInfo FindByVidPid(std::uint16_t vid, std::uint16_t pid) const;
    /// By the vendor and product strings of a volume. An empty text matches nothing.
    CCamInfo FindByMsdcStrings(const std::u16string& vendor, const std::u16string& product) const;
    CCamInfo FindByContextId(const std::u16string& contextId) const;
    /// By the product class of the ids that stand for a pass-through device.
    CCamInfo FindByPassThruClass(const std::u16string& productClass) const;

    const std::vector<CCamInfo>& rows() const { return cameras; }

  private:
    void loadFromSettings();
    void addBuiltIn();
    /// A name made from the model, in the language of the resource module, or in English if there
    /// is no such module. Empty if the module lacks the text.
    std::u16string composeFriendlyName(const std::u16string& model, bool series);

    std::vector<CCamInfo> cameras;
    // Loaded when the first friendly name has to be made; null if there is no such module.
    std::optional<HMODULE> resourceModule;
};

}  // namespace zlk
