#pragma once
// Which drive letter stands for which volume; all processes of a machine agree on it.
//
// They share a table (SharedTable) with a line for each letter that is given to a volume: letter,
// disk, device.

#include <string>
#include <vector>

#include "platform/drives/SystemVolumes.h"
#include "platform/objects/SharedTable.h"
#include "platform/types.h"

namespace zlk::platform {

// The letters that volumes and mounted folders may have.
inline constexpr WCHAR firstLetter = u'B', lastLetter = u'Y';

struct LetteredVolume {
    WCHAR letter;
    SystemVolume volume;
};

/// The lock under which letters are given and taken away; see SharedTable::Lock.
class LetterLock : public SharedTable::Lock {
  public:
    LetterLock();
};

/// The system's volumes with their letters. A volume that has no letter yet gets one, and keeps it
/// as long as the volume is there. The choice is made under the lock, after a fresh look at all
/// volumes and mounted folders. `taken` are the letters of mounted folders, which no volume gets. A
/// volume is left out if there is no letter for it. It is also left out if it needs a letter and
/// the lock can't be had or the table can't be written. `held` is the lock, if the caller has it
/// already: taking it again would wait for the caller itself.
std::vector<LetteredVolume> letteredVolumes(std::u16string taken, const LetterLock* held = nullptr);

}  // namespace zlk::platform
