#pragma once
// What sections and mutexes have in common: the name, if they have one, by which processes share
// them, and a life that lasts as long as any process holds the object.
//
// Processes agree by open file description locks alone, on the bytes that NamedObjectFile.h lists:
// there are no process ids, no clean-up, no daemon, and between processes no lock that all names
// share. Within a process a table, which has a lock, holds one object with one file description for
// each name; the object's users are the handles and views.
//
// A process that may make the object tries, with the table's lock held, to lock all lock bytes of
// the file exclusively. If it gets them, nobody has the object, and the process makes it: it lays
// the content out anew, makes its lock on the existence byte a shared one and unlocks the gate. It
// also unlocks the ownership byte, unless a thread is to own the new mutex at once. If it doesn't
// get the locks, somebody has the object or is about to make or join it. The process then takes the
// gate and tries again. No other process can be half way now, so the object is made here or joined.
// A process that only opens an object asks whether the existence byte is locked. If it is locked,
// the process asks again inside of the gate, and joins the object if there still is one.
//
// Lock order: the table's lock, then the gate. No thread waits while it holds either: an attempt
// that finds the gate taken is given up and begun again, and a thread that waits for a mutex holds
// only its turn among this process's threads.
//
// The kernel releases all locks of a process that dies. If a process dies while it makes an object,
// the next one finds the name free. The mutexes of a thread that ends count as abandoned. A forked
// child has copies of our descriptors. It closes them at once, so that the objects end with their
// holders, and unlocks nothing, since the locks are its parent's too. In the child, any use of the
// handles but closing fails with ERROR_INVALID_HANDLE, and the views become private zeros.
//
// Some cases can't be defended against. A process that may write our files can truncate one while
// we touch its view (SIGBUS then ends us), or take these locks by other rules. A child of a bare
// clone() that runs no fork handlers and executes no program keeps our objects alive. A network
// file system may lack these locks. A process that is stopped inside of the gate costs the others
// ERROR_BUSY for this name until it goes on.

#include <atomic>
#include <memory>
#include <string>

#include "platform/objects/NamedObjectFile.h"

namespace zlk::platform {

/// One object that this process has open. The last shared_ptr to it ends the process's hold.
class NamedObject : public std::enable_shared_from_this<NamedObject> {
  public:
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;
    virtual ~NamedObject();

    /// Whether this process was forked from the one that opened the object.
    bool lost() const noexcept { return lost_; }

  protected:
    explicit NamedObject(NamedObjectFile::Kind kind) noexcept : kind_(kind) {}

    /// Gives the file its content, and a mutex its first owner if it is to have one, while nobody
    /// else can have the object. False with the last error.
    virtual bool make() = 0;
    /// Reads the content of an object that exists already. False with the last error.
    virtual bool join() = 0;
    /// Gives up a mutex on behalf of its owner, a thread that is ending.
    virtual void abandon() noexcept {}

    NamedObjectFile file_;
    /// The thread that owns the object, as thisThread() gives it; only mutexes have an owner.
    std::atomic<const void*> owner_{nullptr};

  private:
    friend class NamedObjectTable;

    const NamedObjectFile::Kind kind_;
    std::string key_;  // folder and file, the key in the table; empty without a name
    std::atomic<bool> lost_{false};
};

enum class OpenMode { MakeOrOpen, OpenOnly };

/// Opens the object of that name: returns the one that this process has already, or `fresh`, which
/// is opened now. The last error is ERROR_SUCCESS if the object was made and ERROR_ALREADY_EXISTS
/// if it was there. Null, with the last error, on failure. Callable on any thread. Throws
/// std::bad_alloc.
std::shared_ptr<NamedObject> openNamedObject(const std::shared_ptr<NamedObject>& fresh,
                                             const WCHAR* name, OpenMode mode);

/// Identifies this thread, by an address that no other living thread has.
const void* thisThread() noexcept;

/// Makes sure that the mutexes which this thread owns are abandoned when it ends; false with the
/// last error.
bool watchEndOfThread() noexcept;

}  // namespace zlk::platform
