#pragma once
// Reads what the settings tree says about kinds of devices and about their instances.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// Nothing is cached: each call reads the tree as it is now. What can't be read, for whatever
/// reason, has its default: a device without settings has no ProgID of its own, its medium is
/// detected in the usual way, it is walked the usual number of times, and its files may be deleted.
///
/// `id` is a context id (see ContextId.h). Any thread may call any function. All functions may
/// throw std::bad_alloc.
class CContextMgrInfo {
  public:
    /// Traces and splits the id; see splitIdentifier() in ContextId.h.
    bool SplitContextId(const std::u16string& id, std::u16string& manufacturer,
                        std::u16string& productClass, std::u16string& serial) const;

    /// ProgIDs that the settings have for a product class: for unloading, for
    /// ContextIdToTSBInterface, for the share menu and for tags. Empty if they have none.
    std::u16string GetUnloadProgId(const std::u16string& id) const;
    std::u16string GetTSBProgId(const std::u16string& id) const;
    std::u16string GetSwiftPostProgId(const std::u16string& id) const;
    std::u16string GetTagProgId(const std::u16string& id) const;

    /// ProgIDs of classes that are to answer in place of our CDeviceList and CDeviceUtils. Empty if
    /// the settings name none.
    std::u16string GetDevListProgId() const;
    std::u16string GetDevUtilsProgId() const;

    /// How a medium is detected, in upper case: `AIO` stands for the card reader component, any
    /// other text and the empty one for the usual way.
    std::u16string GetCheckMediaMethod(const std::u16string& id) const;
    /// How many times a card that shows no files is walked again, once a second; 0 for the default.
    std::uint32_t GetFileEnumTimeout(const std::u16string& id) const;
    /// Whether files may be deleted; false only if the settings say "FALSE".
    bool GetAllowDelete(const std::u16string& id) const;

    /// Where the storage of an instance is: a drive letter, the strings of its storage device, or a
    /// network path. Empty if the settings don't say.
    std::u16string GetStorageId(const std::u16string& id) const;
    /// The registered name of an instance; empty if it has none.
    std::u16string GetFriendlyName(const std::u16string& id) const;

    /// Product classes that are marked as installed, and the instances of a class, in the order of
    /// the tree.
    std::vector<std::u16string> GetInstalledProductClasses() const;
    std::vector<std::u16string> GetDeviceInstances(const std::u16string& productClass) const;
    /// The context ids of all instances of all installed product classes.
    std::vector<std::u16string> GetInstalledContextIds() const;

  private:
    /// A ProgID of the id's product class, from this section of the tree.
    std::u16string classProgId(const std::u16string& id, const WCHAR* section,
                               const WCHAR* value) const;
    std::u16string productClassOf(const std::u16string& id) const;
};

}  // namespace zlk
