#include "platform/settings/RegistryStore.h"

#include <chrono>
#include <thread>

#include "platform/settings/RegistryTables.h"

namespace zlk::platform {
namespace {

// The cache is emptied beyond this many keys: a walk through a large store needs none of them
// twice.
constexpr std::size_t maxKnown = 4096;

}  // namespace

void RegistryStore::refresh(bool lookForFile) {
    // In a child whose fork bypassed the handlers the connection belongs to the parent.
    if (fork_.crossed()) {
        if (database_) database_->abandon();
        database_.reset();
        fork_.set();
    }
    if (database_ && (lookForFile || database_->immutable())) {
        const FileStamp now = FileStamp::of(path_);
        // A connection that was opened as immutable doesn't notice writers. A log or a changed file
        // shows that there has been a writer.
        const bool written = database_->immutable() && (now != file_ || hasLog());
        if (!now.sameFileAs(file_) || written) release(true);
    }
    if (!database_) {
        open();
        return;
    }
    // The cheap comparison comes first: equal marks mean that nobody has committed.
    const auto mark = database_->changeMark();
    if (mark && mark == mark_) return;
    const std::int64_t version = database_->dataVersion();
    if (mark || mark_ || version != version_) forget();
    mark_ = mark;
    version_ = version;
}

void RegistryStore::open() {
    forget();
    writable_.reset();
    const bool there = checkStoreFile(path_);
    const FileStamp now = there ? FileStamp::of(path_) : FileStamp{};
    if (!now.sameFileAs(file_)) ++generation_;
    file_ = now;
    if (!there) return;
    database_ = connect();
    mark_ = database_->changeMark();
    version_ = database_->dataVersion();
}

bool RegistryStore::hasLog() const {
    return FileStamp::of(path_ + "-wal").exists();
}

bool RegistryStore::logIsHalfMade() const {
    return hasLog() && !FileStamp::of(path_ + "-shm").exists() && !mayWriteStore(path_);
}

std::unique_ptr<RegistryDatabase> RegistryStore::connect() const {
    constexpr int patience = 100;  // ms
    for (int waited = 0;; ++waited) {
        const bool last = waited == patience;
        try {
            // A half-made log is looked for before opening, because SQLite would fail, and the
            // diagnostics would report the store as one that can't be used.
            if (last || !logIsHalfMade()) return connectAs(RegistryDatabase::Mode::Shared);
        } catch (const RegistryFailure& failure) {
            if (failure.code == ERROR_BADDB || mayWriteStore(path_)) throw;
            // A reader that may not make files can't share a store whose write-ahead log is
            // missing, so the store is opened as immutable. refresh() notices when a log appears.
            if (!hasLog()) return connectAs(RegistryDatabase::Mode::Immutable);
            // The log may belong to a writer that has just opened the store, and may be complete in
            // a moment.
            if (last || !mayReadStore(path_)) throw;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::unique_ptr<RegistryDatabase> RegistryStore::connectAs(RegistryDatabase::Mode mode) const {
    auto database = std::make_unique<RegistryDatabase>(path_, mode);
    checkTables(*database, path_);
    return database;
}

void RegistryStore::release(bool quickly) noexcept {
    if (fork_.crossed()) return;
    if (database_ && quickly) database_->closeQuickly();
    database_.reset();
    forget();
}

void RegistryStore::forget() noexcept {
    known_.clear();
    children_.clear();
}

bool RegistryStore::writable() {
    if (!writable_)
        writable_ = database_ ? !database_->immutable() && !database_->opensReadOnly() &&
                                    mayWriteStore(path_)
                              : mayWriteStore(path_);
    return *writable_;
}

std::int64_t RegistryStore::child(std::int64_t parent, const std::u16string& folded) {
    if (!database_) return 0;
    const auto found = children_.find({parent, folded});
    if (found != children_.end()) return found->second;
    const std::int64_t key = findChild(*database_, parent, folded);
    if (children_.size() >= maxKnown) children_.clear();
    children_.emplace(std::pair(parent, folded), key);
    // A child that was found exists, so known() needn't look for it in the store.
    if (key && known_.size() < maxKnown) known_.try_emplace(key);
    return key;
}

RegistryStore::Known* RegistryStore::known(std::int64_t key) {
    if (!database_ || !key) return nullptr;
    const auto found = known_.find(key);
    if (found != known_.end()) return &found->second;
    if (!keyExists(*database_, key)) return nullptr;
    if (known_.size() >= maxKnown) known_.clear();
    return &known_[key];
}

const RegistryValues* RegistryStore::values(std::int64_t key) {
    Known* found = known(key);
    if (!found) return nullptr;
    if (!found->values) found->values = readValues(*database_, key);
    return &*found->values;
}

const RegistryNames* RegistryStore::subKeys(std::int64_t key) {
    Known* found = known(key);
    if (!found) return nullptr;
    if (!found->subKeys) found->subKeys = readSubKeys(*database_, key);
    return &*found->subKeys;
}

bool RegistryStore::value(std::int64_t key, const std::u16string& folded, DWORD& type,
                          std::vector<BYTE>& data) {
    return database_ && readValue(*database_, key, folded, type, data);
}

void RegistryStore::read(const std::function<void()>& body) {
    if (!database_) return body();
    RegistryTransaction transaction(*database_, RegistryTransaction::Kind::Read);
    body();
    transaction.commit();
}

void RegistryStore::write(const std::function<void(RegistryDatabase&)>& body) {
    if (!database_) {
        createStoreFile(path_, mode_);
        open();
    }
    if (!database_ || database_->immutable()) throw RegistryFailure{ERROR_ACCESS_DENIED};
    try {
        RegistryTransaction transaction(*database_, RegistryTransaction::Kind::Write);
        // The body may read through the cache, and must see the store as it is under the write
        // lock.
        forget();
        body(*database_);
        transaction.commit();
    } catch (...) {
        // What the body read into the cache may have been undone.
        forget();
        throw;
    }
    forget();
}

}  // namespace zlk::platform
