#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// Reads the settings of a kind of device. Nothing is kept: each call sees the tree as it is now.
/// What can't be read, for whatever reason, has its default: a device without settings has no
/// ProgID of its own, no media check, no extra passes, and may be deleted from.
class CContextMgrInfo {
  public:
    /// See splitIdentifier in ContextId.h.
    bool SplitContextId(const std::u16string& id, std::u16string& manufacturer,
                        std::u16string& productClass, std::u16string& serial) const;

    /// ProgIDs of a product class; empty if there is none.
    std::u16string GetUnloadProgId(const std::u16string& id) const;
    std::u16string GetTSBProgId(const std::u16string& id) const;
    std::u16string GetSwiftPostProgId(const std::u16string& id) const;
    std::u16string GetTagProgId(const std::u16string& id) const;

    /// ProgIDs of other implementations of IDeviceList and IDeviceUtils; empty if there is none.
    std::u16string GetDevListProgId() const;
    std::u16string GetDevUtilsProgId() const;

    /// Upper case; empty if there is none.
    std::u16string GetCheckMediaMethod(const std::u16string& id) const;
    std::uint32_t GetFileEnumTimeout(const std::u16string& id) const;
    /// False only where the settings say "FALSE".
    bool GetAllowDelete(const std::u16string& id) const;

    /// Where the storage of an instance is: a device instance or a network path.
    std::u16string GetStorageId(const std::u16string& id) const;
    /// The registered name of an instance.
    std::u16string GetFriendlyName(const std::u16string& id) const;

    /// In the order of the tree. A class counts as installed by its mark alone.
    std::vector<std::u16string> GetInstalledProductClasses() const;
    std::vector<std::u16string> GetDeviceInstances(const std::u16string& productClass) const;
    /// The context ids of all instances of all installed product classes.
    std::vector<std::u16string> GetInstalledContextIds() const;

  private:
    std::u16string classProgId(const std::u16string& id, const WCHAR* section,
                               const WCHAR* value) const;
    std::u16string productClassOf(const std::u16string& id) const;
};

}  // namespace zlk
