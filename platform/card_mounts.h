#pragma once
// Folders that stand for memory cards: to mount one, and to take it away again.

#include <vector>

#include "platform/volumes.h"

#pragma GCC visibility push(default)

/// Mounts a folder, for all processes of the machine and until it is unmounted; `mount.letter`
/// receives the letter given. Last errors: ERROR_DIRECTORY (no such folder),
/// ERROR_ALREADY_EXISTS (the letter is taken), ERROR_INVALID_DRIVE (no such letter, or none
/// free), ERROR_INVALID_PARAMETER (a text too long), and those of the settings store.
BOOL mountCard(CardMount& mount) noexcept;

/// ERROR_INVALID_DRIVE if no folder is mounted there.
BOOL unmountCard(WCHAR letter) noexcept;

/// The folders mounted now, by letter, also those that have vanished.
std::vector<CardMount> mountedCards();

#pragma GCC visibility pop
