#pragma once
// The file behind a named object, and the locks on it.
//
//     byte 0      lock only: existence. Shared by each process that holds the object; exclusive
//                 while a process makes it.
//     byte 1      lock only: ownership of a mutex
//     byte 2      lock only: the gate. A process holds it while it makes or joins the object, so
//                 that no other process joins an object that is half made.
//     byte 4      the kind, 'M' or 'S'
//     byte 5      the mark, 1 while a mutex is owned: a process that locks byte 1 and finds the
//                 mark set knows that the last owner didn't release the mutex
//     8 to 15     a section's size in bytes
//     64 KiB on   a section's bytes
//
// The locks belong to the open file description, so the kernel releases them when its last
// descriptor and mapping are gone, however a process ends. The content is valid only while some
// process has byte 0 locked. The file of a name is never unlinked: otherwise a process that has it
// open and one that makes it anew would have different objects of one name. The file is never
// shortened: that would pull the memory from under a mapping in another process.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/objects/NamedObjectName.h"
#include "platform/types.h"

namespace zlk::platform {

/// One open file description. Operations that return false or Failed have set the last error,
/// except for isOpen and isInPlace. Not thread-safe: an object is opened under the lock of the
/// table of objects (NamedObject.h), and takeOwnership and leaveOwnership are called by the thread
/// that has the mutex's turn.
class NamedObjectFile {
  public:
    enum class Kind : char { Mutex = 'M', Section = 'S' };
    /// Contested: another open file description has a lock that excludes this one.
    enum class Lock { Granted, Contested, Failed };
    static constexpr std::int64_t dataOffset = 64 * 1024;  // a multiple of the page size

    NamedObjectFile() = default;
    NamedObjectFile(NamedObjectFile&& other) noexcept { *this = std::move(other); }
    NamedObjectFile& operator=(NamedObjectFile&& other) noexcept;
    ~NamedObjectFile() { close(); }

    int descriptor() const noexcept { return fd_; }
    bool isOpen() const noexcept { return fd_ >= 0; }
    /// False if the open file has been deleted.
    bool isInPlace() const noexcept;
    /// Opens the file of a name. A missing file is made, with its folders, if `mayMake`. Fails,
    /// among others, with ERROR_FILE_NOT_FOUND, or ERROR_ACCESS_DENIED if the file isn't trusted.
    bool open(const NamedObjectName& name, bool mayMake);
    /// Opens a file in memory that no other process can reach.
    bool openUnnamed();
    /// Unlocks everything. Closing alone isn't enough: a child process that another thread is just
    /// starting may have copies of our descriptors, and with them the locks, for a moment longer.
    void unlockAll() noexcept;
    /// Closes the file. The locks stay with other holders of the description, such as the parent of
    /// a forked child.
    void close() noexcept;

    /// Locks existence, ownership and, unless this process is inside of the gate already, the gate:
    /// all of them or none. Granted means that nobody has the object, and that nobody can get it
    /// before settle().
    Lock takeToMake(bool insideGate) noexcept;
    Lock tryGate() noexcept;
    /// Asks whether any process has the object (Contested) and locks nothing.
    Lock askExistence() noexcept;
    /// Makes the existence lock a shared one, and unlocks the gate and, unless `owned`, ownership.
    bool settle(bool owned) noexcept;

    /// Locks the ownership byte. Waits for other processes if `wait`, and is never Contested then.
    Lock takeOwnership(bool wait) noexcept;
    void leaveOwnership() noexcept;
    /// Maps the mark, once the content is laid out. Like a descriptor, a mapping keeps the file
    /// description and its locks alive. So the mapping is made while the table's lock keeps a fork
    /// away, and ends with the file.
    bool mapMark() noexcept;
    /// The mark; after mapMark().
    std::atomic<char>& mark() noexcept;

    /// Writes the content anew: the header with kind and size, the mark (set if `owned`), and a
    /// section's zeros.
    bool layOut(Kind kind, bool owned, std::uint64_t sectionSize) noexcept;
    /// Reads the header; false with ERROR_INVALID_HANDLE if the object is of another kind, or the
    /// header can't be read.
    bool readHeader(Kind kind, std::uint64_t& sectionSize) noexcept;
    /// The bytes that the file really has for a section's content, whatever its header says.
    std::uint64_t dataSize() const noexcept;

  private:
    /// One fcntl() for a range of bytes, `first` to `last` inclusive.
    Lock lock(int command, short type, std::int64_t first, std::int64_t last) noexcept;
    /// Spins until the mark is cleared, but only for a moment.
    void watchOwner() noexcept;
    /// Gives a section zeros, and disk space for all of them if the file system can reserve it.
    bool reserve(std::uint64_t sectionSize) noexcept;

    int fd_ = -1;
    void* header_ = nullptr;  // the mapped Header, for the mark; null until mapMark()
    bool locked_ = false;     // a lock may be held; spares a system call where none is
};

}  // namespace zlk::platform
