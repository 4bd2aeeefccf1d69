#pragma once
// Questions about the file system on which an open file lies.

namespace zlk {

/// Whether the file lies on a medium of this machine: on any file system except those in memory,
/// the network file systems that we know, and FUSE, whose program may do anything. All four
/// functions return false if the file system can't be found out.
bool isOnMedium(int file);

/// Whether only programs of this machine lock files of the file system, so that a lock tells
/// whether its owner still runs. False for the network file systems that we know, and for FUSE.
bool isOnThisMachine(int file);

/// Whether one syncfs() waits for all files of the file system, and reports if one of them couldn't
/// be written. True only for file systems that are known to do so.
bool isFlushedAsAWhole(int file);

/// Whether a moved file has to be flushed once more, because a power cut before that may leave it
/// without contents. So it is on FAT, where only that flush writes size and clusters into the entry
/// with the new name.
bool losesContentsByMoving(int file);

}  // namespace zlk
