#pragma once
// What can be expected of the file system that an open file lies on.

namespace zlk {

/// Whether it is a medium of this machine: neither memory, nor another computer, nor a program that
/// stands in for either.
bool isOnMedium(int file);

/// Whether locks on it are this machine's alone, so that who holds none is dead.
bool isOnThisMachine(int file);

/// Whether one syncfs waits for all its files, and says so where one of them couldn't be written.
/// Others have no such call of their own, and say that it went well.
bool isFlushedAsAWhole(int file);

/// Whether a file that is moved has no contents under its new name until it is flushed once more:
/// on FAT the new entry has neither size nor clusters before.
bool losesContentsByMoving(int file);

}  // namespace zlk
