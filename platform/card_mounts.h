#pragma once
// Folders that stand for memory cards or discs: how to mount one and how to unmount it again. Every
// call may come from any thread. A process that changes mounts holds a lock meanwhile, so that no
// letter is given twice. If the file system has no locks, two processes may still do that.

#include <vector>

#include "platform/volumes.h"

#pragma GCC visibility push(default)

/// Mounts `mount.folder` for all processes of the machine, until it is unmounted; `mount.letter`
/// receives the letter given. Last errors: ERROR_DIRECTORY (the folder can't be opened, or its path
/// doesn't begin with `/`), ERROR_ALREADY_EXISTS (the letter is taken), ERROR_INVALID_DRIVE (no
/// such letter, or none free), ERROR_INVALID_PARAMETER (a text that is too long or contains a
/// zero), ERROR_BUSY (others held the lock for two seconds), ERROR_NOT_ENOUGH_MEMORY, and those of
/// the machine root, of the lock's file and of the settings store.
BOOL mountCard(CardMount& mount) noexcept;

/// Unmounts the folder that is mounted under a letter; the folder itself isn't touched.
/// ERROR_INVALID_DRIVE if there is none; the lock, the machine root and the settings store can fail
/// as for mountCard.
BOOL unmountCard(WCHAR letter) noexcept;

/// The folders mounted now, in the order of their letters, including those that have vanished from
/// the disk.
std::vector<CardMount> mountedCards();

#pragma GCC visibility pop
