#pragma once
// The folders that users mount as cards, as they are kept in the settings store: one key for each
// letter below HKEY_LOCAL_MACHINE `Software\Zephyr-Lanthorn\Platform\Mounts`, with the texts
// Folder, Label, Vendor and Product and the number CdRom. A key whose Folder isn't an absolute path
// counts as no mount; a killed writer may leave a key without a Folder. Callers that write or
// remove a mount hold the LetterLock (DriveLetters.h).

#include <optional>
#include <vector>

#include "platform/volumes.h"

namespace zlk::platform {

/// The mount under a letter; none if there is no such mount, or the store can't be read.
std::optional<CardMount> readCardMount(WCHAR letter);

/// All mounts, or only their letters, in the order of the letters.
std::vector<CardMount> readCardMounts();
std::u16string mountedLetters();

/// Write or remove a mount. The result is an ERROR_ value of the store.
LSTATUS writeCardMount(const CardMount& mount);
LSTATUS removeCardMount(WCHAR letter);

}  // namespace zlk::platform
