#pragma once
// The objects of a storage, one after the other, those in folders too.

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "ptp/PtpInterface.h"

namespace zlk {

/// A camera lists the objects of all folders at once. Some list a single folder's only:
/// `asksFolders` has each folder that is nobody's parent asked for what it holds, once the list is
/// at its end. A handle that comes again, and a folder inside of itself, are left out then.
class ObjectWalk {
  public:
    /// Asks for the list; PTPCommErrors. `ptp` stays the caller's.
    ObjectWalk(PtpInterface& ptp, std::uint32_t storage, std::uint32_t parent, bool asksFolders);

    /// The next handle; none at the end. May ask the camera: PTPCommErrors, among them
    /// PTP_OUT_OF_MEMORY for a camera that has more objects than any card holds.
    std::optional<std::uint32_t> next();
    /// What the camera says of a handle that next() gave.
    void described(std::uint32_t handle, const ObjectInfoDataset& info);

    std::size_t given() const { return position; }
    /// As far as is known now; a folder that is to be asked yet counts as one more.
    std::size_t total() const { return handles.size() + folders.size() - askedFolders; }

  private:
    void add(const std::vector<std::uint32_t>& more);
    /// False when there is none left to be asked.
    bool askNextFolder();

    PtpInterface& ptp;
    const std::uint32_t storage;
    const bool asksFolders;
    std::vector<std::uint32_t> handles;
    std::size_t position = 0;
    std::vector<std::uint32_t> folders;  // as they were found
    std::size_t askedFolders = 0;
    std::unordered_set<std::uint32_t> seen, parents;
};

/// The format of folders (ISO 15740, Association).
inline constexpr std::uint16_t folderFormat = 0x3001;

}  // namespace zlk
