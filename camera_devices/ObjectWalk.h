#pragma once
// Visits all objects of a storage one after another, including those in folders.

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "ptp/PtpInterface.h"

namespace zlk {

/// Most cameras list the objects of all folders at once, but some list those of a single folder
/// only. With `asksFolders`, once the list is exhausted, each folder that isn't the parent of a
/// described object is asked for its contents, and handles that come twice, such as a folder inside
/// of itself, are skipped.
class ObjectWalk {
  public:
    /// Asks the camera for the list; may throw PTPCommErrors. `ptp` is borrowed.
    ObjectWalk(PtpInterface& ptp, std::uint32_t storage, std::uint32_t parent, bool asksFolders);

    /// The next handle; none at the end. May ask the camera, and so throw PTPCommErrors, among them
    /// PTP_OUT_OF_MEMORY if the camera lists more objects than any card holds.
    std::optional<std::uint32_t> next();
    /// To be called with the camera's description of a handle that next() has returned.
    void described(std::uint32_t handle, const ObjectInfoDataset& info);

    /// How many handles next() has returned.
    std::size_t given() const { return position; }
    /// The number of handles as far as it is known; a folder that has yet to be asked counts as
    /// one.
    std::size_t total() const { return handles.size() + folders.size() - askedFolders; }

  private:
    void add(const std::vector<std::uint32_t>& more);
    /// Appends the contents of the next folder that has to be asked. False if there is none.
    bool askNextFolder();

    PtpInterface& ptp;
    const std::uint32_t storage;
    const bool asksFolders;
    std::vector<std::uint32_t> handles;
    std::size_t position = 0;
    std::vector<std::uint32_t> folders;  // in the order in which they were found
    std::size_t askedFolders = 0;        // how many of them are done
    // Handles that were listed, and those that were named as a parent. Empty without `asksFolders`.
    std::unordered_set<std::uint32_t> seen, parents;
};

/// The object format of folders (ISO 15740, Association).
inline constexpr std::uint16_t folderFormat = 0x3001;

}  // namespace zlk
