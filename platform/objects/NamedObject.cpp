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

/// Its caller may have one answer for this and for a name that is taken.
void tellWhyNotMade(const std::string& key) {
    const DWORD error = GetLastError();
    std::array<WCHAR, 200> reason{};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0, reason.data(), reason.size());
    diagnose("NamedObjects", u"%s/%s can't be made: %s", MachineRoot::instance().path(), key,
             reason.data());
    SetLastError(error);
}

/// The patience with whoever is inside of a gate: mostly it takes him a moment, and five seconds
/// only if he is stopped.
class GateWait {
  public:
    /// Lets others run; false once the time is over.
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

/// The named objects of this process.
class NamedObjectTable {
  public:
    static NamedObjectTable& instance() {
        static Immortal<NamedObjectTable> table;
        return *table;
    }

    NamedObjectTable() {
        pthread_atfork([] { instance().lock_.lock(); }, [] { instance().lock_.unlock(); },
                       [] { instance().afterFork(); });
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

    std::shared_ptr<NamedObject> find(const std::string& key) const;
    /// Contested: somebody is inside of the gate, and it may be tried again. With Failed the last
    /// error is set, and `found` may be one that has the name and is no use.
    Lock tryToOpen(const std::shared_ptr<NamedObject>& fresh, const NamedObjectName& name,
                   OpenMode mode, std::shared_ptr<NamedObject>& found);
    static Lock openFile(NamedObject& object, const NamedObjectName& name, OpenMode mode);
    static bool make(NamedObject& object);
    /// Lets go of a file that may be wanted again soon.
    void rest(const std::string& key, NamedObject& object) noexcept;
    void endThread(const void* thread) noexcept;
    void afterFork() noexcept;

    std::mutex lock_;
    // Open, and without a lock: a mutex that is opened for each of its holds is mostly another
    // time the same. By key.
    std::unordered_map<std::string, NamedObjectFile> resting_;
    // By key; those without a name share the empty one.
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
        // Null for one that another thread is about to remove.
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
    // Let go of behind the table's lock, which its destructor takes.
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
    const auto entry = objects_.emplace(key, fresh.get());
    if (auto rested = resting_.extract(key); rested && rested.mapped().isInPlace())
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
        // It is opened again, then.
    }
}

NamedObjectFile::Lock NamedObjectTable::openFile(NamedObject& object, const NamedObjectName& name,
                                                 OpenMode mode) {
    const auto outcome = [](bool done) { return done ? Lock::Granted : Lock::Failed; };
    NamedObjectFile& file = object.file_;
    if (name.unnamed()) return outcome(file.openUnnamed() && make(object));
    const bool mayMake = mode == OpenMode::MakeOrOpen;
    if (!file.isOpen() && !file.open(name, mayMake)) return Lock::Failed;
    // Whoever comes first needs no gate before him; whoever only looks for an object mostly finds
    // none, and has stood in nobody's way.
    for (const bool insideGate : {false, true}) {
        const Lock gate = insideGate ? file.tryGate() : Lock::Granted;
        if (gate != Lock::Granted) return gate;
        const Lock answer = mayMake ? file.takeToMake(insideGate) : file.askExistence();
        if (answer == Lock::Failed) return answer;
        if (answer == Lock::Granted)
            return outcome(mayMake ? make(object) : fail(ERROR_FILE_NOT_FOUND));
    }
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
