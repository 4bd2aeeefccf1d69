#include "platform/objects/NamedObject.h"

#include <pthread.h>

#include <array>
#include <chrono>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/base/Diagnose.h"
#include "platform/base/MachineRoot.h"
#include "platform/error.h"
#include "platform/immortal.h"

namespace zlk::platform {

namespace {

bool fail(DWORD error) {
    SetLastError(error);
    return false;
}

/// Reports to the diagnostics why an object couldn't be made. A caller of CreateMutexW may take
/// every failure for a name that is taken, and the reason would be lost.
void tellWhyNotMade(const std::string& key) {
    const DWORD error = GetLastError();
    std::array<WCHAR, 200> reason{};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0, reason.data(), reason.size());
    diagnose("NamedObjects", u"%s/%s can't be made: %s", MachineRoot::instance().path(), key,
             reason.data());
    SetLastError(error);
}

/// Limits the wait for another process that is inside of the gate to five seconds. A process needs
/// the gate for a moment only, unless it is stopped there.
class GateWait {
  public:
    /// Lets other threads run for a while; false once the time is over.
    bool goesOn() {
        using namespace std::chrono_literals;
        constexpr int yields = 100;
        if (rounds_++ < yields) {
            std::this_thread::yield();
            return true;
        }
        const auto now = std::chrono::steady_clock::now();
        if (rounds_ == yields + 1) end_ = now + 5s;
        std::this_thread::sleep_for(200us);
        return now < end_;
    }

  private:
    int rounds_ = 0;
    std::chrono::steady_clock::time_point end_;
};

}  // namespace

/// The table of this process's named objects, guarded by one lock.
class NamedObjectTable {
  public:
    static NamedObjectTable& instance() {
        static Immortal<NamedObjectTable> table;
        return *table;
    }

    NamedObjectTable() {
        // A fork waits until no thread is in the table, so that the child can repair it.
        pthread_atfork([] { instance().lock_.lock(); }, [] { instance().lock_.unlock(); },
                       [] { instance().afterFork(); });
        // The key's destructor runs at the end of each thread that has set the key
        // (watchEndOfThread).
        hasKey_ =
            pthread_key_create(&key_, [](void* thread) { instance().endThread(thread); }) == 0;
    }

    std::shared_ptr<NamedObject> open(const std::shared_ptr<NamedObject>& fresh, const WCHAR* name,
                                      OpenMode mode);
    void remove(NamedObject& object) noexcept;
    bool watchEndOfThread() noexcept {
        if (hasKey_ && (pthread_getspecific(key_) || pthread_setspecific(key_, thisThread()) == 0))
            return true;
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }

  private:
    using Lock = NamedObjectFile::Lock;

    // find(), openFile(), make() and rest() are called with lock_ held.
    std::shared_ptr<NamedObject> find(const std::string& key) const;
    /// Makes one attempt to open an object. Contested means that another process is inside of the
    /// gate, and that another attempt may succeed. With Failed the last error is set, and `found`
    /// may hold an object of the wrong kind, which must not be used.
    Lock tryToOpen(const std::shared_ptr<NamedObject>& fresh, const NamedObjectName& name,
                   OpenMode mode, std::shared_ptr<NamedObject>& found);
    static Lock openFile(NamedObject& object, const NamedObjectName& name, OpenMode mode);
    static bool make(NamedObject& object);
    /// Takes an object's file and unlocks it. The file of a named mutex stays open in resting_ if
    /// there is room, since it may be wanted again soon.
    void rest(const std::string& key, NamedObject& object) noexcept;
    void endThread(const void* thread) noexcept;
    void afterFork() noexcept;

    std::mutex lock_;
    // Open files of mutexes that this process doesn't hold any more, without locks, by key. A
    // caller that opens a mutex for each critical section needn't open the file each time.
    std::unordered_map<std::string, NamedObjectFile> resting_;
    // The open objects by key; those without a name all have the empty key.
    std::unordered_multimap<std::string, NamedObject*> objects_;
    pthread_key_t key_{};
    bool hasKey_ = false;
};

NamedObject::~NamedObject() {
    NamedObjectTable::instance().remove(*this);
}

std::shared_ptr<NamedObject> NamedObjectTable::find(const std::string& key) const {
    const auto [first, last] = objects_.equal_range(key);
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second->lost_) continue;
        // The pointer is null for an object whose last user has just gone, and whose destructor
        // hasn't removed it from the table yet.
        if (auto object = entry->second->weak_from_this().lock()) return object;
    }
    return nullptr;
}

std::shared_ptr<NamedObject> NamedObjectTable::open(const std::shared_ptr<NamedObject>& fresh,
                                                    const WCHAR* text, OpenMode mode) {
    NamedObjectName name;
    if (!parseObjectName(text, name)) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    fresh->key_ = name.unnamed() ? "" : name.folder + '/' + name.file;
    // `found` is declared outside of tryToOpen, which locks the table: ending an object of the
    // wrong kind takes that lock, too.
    std::shared_ptr<NamedObject> found;
    Lock answer = tryToOpen(fresh, name, mode, found);
    for (GateWait wait; answer == Lock::Contested && wait.goesOn();)
        answer = tryToOpen(fresh, name, mode, found);
    if (answer == Lock::Contested) SetLastError(ERROR_BUSY);
    if (answer == Lock::Failed && mode == OpenMode::MakeOrOpen && !name.unnamed())
        tellWhyNotMade(fresh->key_);
    return answer == Lock::Granted ? found : nullptr;
}

NamedObjectFile::Lock NamedObjectTable::tryToOpen(const std::shared_ptr<NamedObject>& fresh,
                                                  const NamedObjectName& name, OpenMode mode,
                                                  std::shared_ptr<NamedObject>& found) {
    const std::string& key = fresh->key_;
    const std::lock_guard guard(lock_);
    if (!name.unnamed()) found = find(key);
    if (found) {
        const bool sameKind = found->kind_ == fresh->kind_;
        SetLastError(sameKind ? ERROR_ALREADY_EXISTS : ERROR_INVALID_HANDLE);
        return sameKind ? Lock::Granted : Lock::Failed;
    }
    // The object is entered before its file is opened, because entering it may throw, and then
    // nothing has to be undone.
    const auto entry = objects_.emplace(key, fresh.get());
    if (auto rested = resting_.extract(key); rested && rested.mapped().isInPlace())
        // A rested file is used only if it is still in its place, since somebody may have deleted
        // the folder.
        fresh->file_ = std::move(rested.mapped());
    const Lock answer = openFile(*fresh, name, mode);
    if (answer == Lock::Granted) {
        found = fresh;
    } else {
        rest(key, *fresh);
        objects_.erase(entry);
    }
    return answer;
}

void NamedObjectTable::rest(const std::string& key, NamedObject& object) noexcept {
    constexpr std::size_t mostResting = 16;
    NamedObjectFile file = std::move(object.file_);
    file.unlockAll();
    const bool returns = object.kind_ == NamedObjectFile::Kind::Mutex && !key.empty();
    if (!file.isOpen() || !returns || object.lost_ || resting_.size() >= mostResting) return;
    try {
        resting_.emplace(key, std::move(file));
    } catch (const std::bad_alloc&) {
        // Nothing is lost: the file is opened anew when it is wanted.
    }
}

NamedObjectFile::Lock NamedObjectTable::openFile(NamedObject& object, const NamedObjectName& name,
                                                 OpenMode mode) {
    const auto outcome = [](bool done) { return done ? Lock::Granted : Lock::Failed; };
    NamedObjectFile& file = object.file_;
    if (name.unnamed()) return outcome(file.openUnnamed() && make(object));
    const bool mayMake = mode == OpenMode::MakeOrOpen;
    if (!file.isOpen() && !file.open(name, mayMake)) return Lock::Failed;
    // The first round doesn't take the gate beforehand: an opener that may make the object locks
    // all bytes at once, and one that only looks for the object locks none. If the first round is
    // contested, the object may be half made. So the second round asks again inside of the gate,
    // where no object of another process can be half made.
    for (const bool insideGate : {false, true}) {
        const Lock gate = insideGate ? file.tryGate() : Lock::Granted;
        if (gate != Lock::Granted) return gate;
        const Lock answer = mayMake ? file.takeToMake(insideGate) : file.askExistence();
        if (answer == Lock::Failed) return answer;
        if (answer == Lock::Granted)
            return outcome(mayMake ? make(object) : fail(ERROR_FILE_NOT_FOUND));
    }
    // The object exists. If its last holder closes it at this moment, we still join the same
    // object: nobody can lay it out anew while we hold the gate.
    if (!object.join() || !file.settle(false)) return Lock::Failed;
    SetLastError(ERROR_ALREADY_EXISTS);
    return Lock::Granted;
}

bool NamedObjectTable::make(NamedObject& object) {
    if (!object.make() || !object.file_.settle(object.owner_ != nullptr)) return false;
    SetLastError(ERROR_SUCCESS);
    return true;
}

void NamedObjectTable::remove(NamedObject& object) noexcept {
    const std::lock_guard guard(lock_);
    rest(object.key_, object);
    const auto [first, last] = objects_.equal_range(object.key_);
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second != &object) continue;
        objects_.erase(entry);
        return;
    }
}

void NamedObjectTable::endThread(const void* thread) noexcept {
    // The mutexes are abandoned one after the other and without the lock: if `owned` is the last
    // pointer to one, ending it takes the lock.
    std::shared_ptr<NamedObject> owned;
    do {
        owned.reset();
        {
            const std::lock_guard guard(lock_);
            for (const auto& [key, object] : objects_)
                if (object->owner_ == thread && (owned = object->weak_from_this().lock())) break;
        }
        if (owned) owned->abandon();
    } while (owned);
}

void NamedObjectTable::afterFork() noexcept {
    // The files are closed and not unlocked: the locks belong to the parent as well.
    for (const auto& [key, object] : objects_) {
        object->lost_ = true;
        object->owner_ = nullptr;
        object->file_.close();
    }
    for (auto& [key, file] : resting_) file.close();
    resting_.clear();
    lock_.unlock();
}

std::shared_ptr<NamedObject> openNamedObject(const std::shared_ptr<NamedObject>& fresh,
                                             const WCHAR* name, OpenMode mode) {
    return NamedObjectTable::instance().open(fresh, name, mode);
}

const void* thisThread() noexcept {
    static constinit thread_local char place = 0;
    return &place;
}

bool watchEndOfThread() noexcept {
    return NamedObjectTable::instance().watchEndOfThread();
}

}  // namespace zlk::platform
