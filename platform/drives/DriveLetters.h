#pragma once
// Which letter stands for which volume, agreed between the processes of a machine.
//
// The table (SharedTable) has a line a volume: letter, disk, device.

#include <string>
#include <vector>

#include "platform/drives/SystemVolumes.h"
#include "platform/objects/SharedTable.h"
#include "platform/types.h"

namespace zlk::platform {

inline constexpr WCHAR firstLetter = u'B', lastLetter = u'Y';

struct LetteredVolume {
    WCHAR letter;
    SystemVolume volume;
};

/// The lock under which letters change.
class LetterLock : public SharedTable::Lock {
  public:
    LetterLock();
};

/// The system's volumes with their letters, none of them one of `taken`, the letters of mounted
/// folders; those that have none yet are given one, by a fresh look at all, and keep it. A volume
/// for which there is no letter is left out. `held`: the lock, where the caller has it already.
std::vector<LetteredVolume> letteredVolumes(std::u16string taken, const LetterLock* held = nullptr);

}  // namespace zlk::platform
