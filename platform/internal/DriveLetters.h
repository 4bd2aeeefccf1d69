#pragma once
// Which letter stands for which volume, agreed between the processes of a machine.
//
// The table is <root>/run/drive-letters, a line a volume: letter, disk, device. It is read without
// a lock and replaced by renaming a new one onto it, under a lock on <root>/run/drive-letters.lock
// that is held for no more than that; so a process that dies in the middle leaves the old table or
// the new one. The volumes are looked at anew under the lock: whoever decides by an older view
// would take a letter from a card that somebody else has just seen.

#include <string>
#include <vector>

#include "platform/internal/Descriptor.h"
#include "platform/internal/SystemVolumes.h"
#include "platform/types.h"

namespace zlk::platform {

inline constexpr WCHAR firstLetter = u'B', lastLetter = u'Y';

struct LetteredVolume {
    WCHAR letter;
    SystemVolume volume;
};

/// The lock under which letters change. False in `held()`, with the last error, where it can't be
/// had within some seconds.
class LetterLock {
  public:
    LetterLock();
    bool held() const noexcept { return static_cast<bool>(file_); }

  private:
    Descriptor file_;
};

/// The system's volumes with their letters, none of them one of `taken`; the letters of those that
/// have none yet are given and kept. A volume for which there is no letter is left out.
/// `held`: the lock, where the caller has it already.
std::vector<LetteredVolume> letteredVolumes(const std::u16string& taken,
                                            const LetterLock* held = nullptr);

}  // namespace zlk::platform
