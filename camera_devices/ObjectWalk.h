#pragma once
// Visits the objects that a camera lists, one after another.

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "ptp/PtpInterface.h"

namespace zlk {

/// Gives the handles of objects one by one. Some cameras list the objects of all folders at once,
/// and others those of a single folder only. So with `asksFolders`, when the list ends, the walk
/// asks for the contents of each described folder that isn't the parent of a described object.
/// With `asksFolders` it also skips handles that come again, so a folder that is inside of itself
/// does no harm. A walk of more than a million objects throws PTP_OUT_OF_MEMORY.
class ObjectWalk {
  public:
    /// Asks the camera for the list; may throw PTPCommErrors. `ptp` is borrowed.
    ObjectWalk(PtpInterface& ptp, std::uint32_t storage, std::uint32_t parent, bool asksFolders);

    /// The next handle; none at the end. May ask the camera, and so throw PTPCommErrors.
    std::optional<std::uint32_t> next();
    /// To be called with the camera's description of a handle that next() has returned.
    void described(std::uint32_t handle, const ObjectInfoDataset& info);

    /// How many handles next() has returned.
    std::size_t given() const { return position; }
    /// The number of handles as far as it is known. Each folder whose contents may still have to be
    /// asked for counts as one more.
    std::size_t total() const { return handles.size() + folders.size() - askedFolders; }

  private:
    void add(const std::vector<std::uint32_t>& more);
    /// Asks for the contents of the next folder and appends them. False if no folder is left.
    bool askNextFolder();

    PtpInterface& ptp;
    const std::uint32_t storage;
    const bool asksFolders;
    std::vector<std::uint32_t> handles;
    std::size_t position = 0;
    std::vector<std::uint32_t> folders;  // in the order in which they were found
    std::size_t askedFolders = 0;        // how many of `folders` are done
    // `seen` has the handles that were listed, and `parents` those that a description named as the
    // parent. Both are empty without `asksFolders`.
    std::unordered_set<std::uint32_t> seen, parents;
};

/// The object format of folders (ISO 15740, Association).
inline constexpr std::uint16_t folderFormat = 0x3001;

}  // namespace zlk
