#pragma once
// What sections and mutexes have in common: a name that several processes know, and a life as
// long as the longest of their holds.
//
// It rests on open file description locks alone (NamedObjectFile): no process ids, no clean-up,
// no daemon, no lock that all names share. Within a process each name has one object, which has
// one description; handles and views count its users.
//
// Opening: under the table's lock, all lock bytes of the file are tried exclusively. Granted means
// made here: the content is laid out anew, then existence becomes shared and the gate free.
// Refused means that somebody has the object, or is about to: inside of the gate it is one or the
// other, and is made here or shared. Opening without making only asks, and again in the gate.
//
// Lock order: the table's lock, then the gate. Nobody waits with either: a gate that is taken is
// tried again from the start, and waiting for a mutex holds only its turn in this process.
//
// A process that dies lets go of everything; one that dies inside of the gate leaves a name that
// the next one in finds free. A thread that ends abandons its mutexes. A forked child is another
// process with copies of our descriptors: it closes them at once, so that the objects end with
// their holders, and unlocks nothing, since the locks are its parent's too. Its handles fail with
// ERROR_INVALID_HANDLE, its views become private zeros.
//
// What can't be defended: a peer with the right to write our files that truncates one while we
// touch its view (we die of SIGBUS, as with any shared file), or that takes the locks by other
// rules than these; a child made by a bare clone() that runs no fork handlers and executes
// nothing, which keeps our objects alive; a network file system without such locks. A peer that
// is stopped inside of the gate costs the others ERROR_BUSY for this name until it goes on.

#include <atomic>
#include <memory>
#include <string>

#include "platform/objects/NamedObjectFile.h"

namespace zlk::platform {

class NamedObject : public std::enable_shared_from_this<NamedObject> {
  public:
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;
    virtual ~NamedObject();

    /// This process was forked from the one that opened it.
    bool lost() const noexcept { return lost_; }

  protected:
    explicit NamedObject(NamedObjectFile::Kind kind) noexcept : kind_(kind) {}

    /// Gives the file its content, and a mutex its first owner, while nobody else can have the
    /// object. False with the last error.
    virtual bool make() = 0;
    /// Takes over what the file says.
    virtual bool join() = 0;
    /// Lets go of a mutex in the name of its owner, a thread that ends.
    virtual void abandon() noexcept {}

    NamedObjectFile file_;
    /// The thread that owns it, by an address of its own; only mutexes have one.
    std::atomic<const void*> owner_{nullptr};

  private:
    friend class NamedObjectTable;

    const NamedObjectFile::Kind kind_;
    std::string key_;  // folder and file
    std::atomic<bool> lost_{false};
};

enum class OpenMode { MakeOrOpen, OpenOnly };

/// The object of that name in this process: `fresh`, opened now, unless there is one already. The
/// last error is ERROR_SUCCESS if it was made, else ERROR_ALREADY_EXISTS. Null with the last
/// error.
std::shared_ptr<NamedObject> openNamedObject(const std::shared_ptr<NamedObject>& fresh,
                                             const WCHAR* name, OpenMode mode);

/// This thread, by an address that no other living thread has.
const void* thisThread() noexcept;

/// Sees to it that the mutexes which this thread owns are abandoned when it ends; false with the
/// last error.
bool watchEndOfThread() noexcept;

}  // namespace zlk::platform
