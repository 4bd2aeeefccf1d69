#pragma once
// Questions about the file system on which an open file lies.

namespace zlk {

/// Whether it is a medium of this machine, and not memory, another computer, or a program (FUSE)
/// that stands in for either.
bool isOnMedium(int file);

/// Whether locks on it are only of this machine, so that the owner of a file that isn't locked must
/// have ended.
bool isOnThisMachine(int file);

/// Whether one syncfs waits for all its files and reports if one of them couldn't be written. Other
/// file systems return success from syncfs without doing that.
bool isFlushedAsAWhole(int file);

/// Whether a moved file has no contents under its new name until it is flushed again: on FAT, size
/// and clusters of the new entry are only written then.
bool losesContentsByMoving(int file);

}  // namespace zlk
