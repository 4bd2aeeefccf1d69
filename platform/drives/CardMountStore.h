#pragma once
// The folders that users mount as cards, in the settings store: a key a letter below
// HKEY_LOCAL_MACHINE `Software\Zephyr-Lanthorn\Platform\Mounts`, with the texts Folder, Label,
// Vendor and Product and the number CdRom. A key without a folder, which a killed writer may
// leave, counts as none.

#include <optional>
#include <vector>

#include "platform/volumes.h"

namespace zlk::platform {

std::optional<CardMount> readCardMount(WCHAR letter);

/// By letter.
std::vector<CardMount> readCardMounts();
std::u16string mountedLetters();

/// An ERROR_ value of the store.
LSTATUS writeCardMount(const CardMount& mount);
LSTATUS removeCardMount(WCHAR letter);

}  // namespace zlk::platform
