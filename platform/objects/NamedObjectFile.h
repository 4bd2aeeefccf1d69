#pragma once
// The file behind a named object, and the locks on it.
//
//     byte 0      lock only: existence. Shared by each process that holds the object; exclusive
//                 while one makes it.
//     byte 1      lock only: ownership of a mutex
//     byte 2      lock only: the gate. Held while a process finds out whether the object exists
//                 and makes it or joins it, so that nobody sees one that is half made, also when
//                 its maker dies on the way.
//     byte 4      the kind, 'M' or 'S'
//     byte 5      1 while a mutex is owned: whoever locks byte 1 and finds it 1 has an owner
//                 before him that died
//     8 to 15     a section's size
//     64 KiB on   a section's bytes
//
// The locks belong to the open file description, so that the kernel lets go of them when its last
// descriptor and mapping go, however a process ends. What the bytes hold counts only while
// somebody has byte 0. The file is never unlinked and never truncated: a mapping of it somewhere
// must not lose its ground.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/objects/NamedObjectName.h"
#include "platform/types.h"

namespace zlk::platform {

/// One open file description. Where an operation says false or Failed, the last error is set.
class NamedObjectFile {
  public:
    enum class Kind : char { Mutex = 'M', Section = 'S' };
    enum class Lock { Granted, Contested, Failed };
    static constexpr std::int64_t dataOffset = 64 * 1024;  // a multiple of every page size

    NamedObjectFile() = default;
    NamedObjectFile(NamedObjectFile&& other) noexcept { *this = std::move(other); }
    NamedObjectFile& operator=(NamedObjectFile&& other) noexcept;
    ~NamedObjectFile() { close(); }

    int descriptor() const noexcept { return fd_; }
    bool isOpen() const noexcept { return fd_ >= 0; }
    /// Whether an open file is still the one that others find by its name.
    bool isInPlace() const noexcept;
    /// ERROR_FILE_NOT_FOUND if there is none and `mayMake` is false.
    bool open(const NamedObjectName& name, bool mayMake);
    bool openUnnamed();
    /// Lets go of all locks. Said outright before closing, since a child that somebody is just
    /// about to start may have our descriptors for a moment longer.
    void unlockAll() noexcept;
    /// Closes and leaves the locks to whoever else has the description.
    void close() noexcept;

    /// Takes existence, ownership and, unless this process is inside of it, the gate, all or none.
    /// Granted: nobody has the object, and nobody can before settle().
    Lock takeToMake(bool insideGate) noexcept;
    Lock tryGate() noexcept;
    /// Asks for existence and takes nothing.
    Lock askExistence() noexcept;
    /// Shares existence and leaves the gate; what was made stays owned if `owned`.
    bool settle(bool owned) noexcept;

    /// Contested only without `wait`.
    Lock takeOwnership(bool wait) noexcept;
    void leaveOwnership() noexcept;
    /// Once the content stands. A mapping has the locks as a descriptor has them: it is made where
    /// no fork can come in between, and ended with the file.
    bool mapMark() noexcept;
    /// Of a file that has it mapped.
    std::atomic<char>& mark() noexcept;

    /// Makes the content anew: the header, the mark as told, and a section's zeros.
    bool layOut(Kind kind, bool owned, std::uint64_t sectionSize) noexcept;
    /// False with ERROR_INVALID_HANDLE if it isn't of that kind.
    bool readHeader(Kind kind, std::uint64_t& sectionSize) noexcept;
    /// The bytes that are really there for a section's content.
    std::uint64_t dataSize() const noexcept;

  private:
    Lock lock(int command, short type, std::int64_t first, std::int64_t last) noexcept;
    /// Returns once the mark is gone, or soon after.
    void watchOwner() noexcept;
    bool reserve(std::uint64_t sectionSize) noexcept;

    int fd_ = -1;
    void* header_ = nullptr;  // mapped, for the mark
    bool locked_ = false;     // perhaps
};

}  // namespace zlk::platform
