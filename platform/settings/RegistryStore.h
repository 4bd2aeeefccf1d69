#pragma once
// The machine's own settings store: keys by number, their values, and a cache of what was read.
//
// The connection is opened at the first use that finds a file. It is opened anew after release(),
// and when refresh() looks for the file and finds that it has been replaced. The cache is valid
// until anybody changes the store. To notice a change, refresh() compares the change mark with the
// one that was read before anything was cached; without a mark it compares the data version. As
// long as the mark or the version is the same, all cached answers belong to one state of the store.
// An immutable connection doesn't notice what others write. For such a connection refresh()
// compares the file with the one that was opened and looks for a log, and opens the store anew if
// there has been a writer.
//
// Not thread-safe: RegistryKeys has the lock. A connection must not cross a fork, so RegistryKeys
// calls release() before a fork. If a process dies, its last commit stays, and a change that it
// hadn't committed yet is undone.

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform/base/ForkMark.h"
#include "platform/settings/RegistryDatabase.h"
#include "platform/settings/RegistryFile.h"
#include "platform/settings/RegistryTables.h"

namespace zlk::platform {

class RegistryStore {
  public:
    /// The store at `path`, which is opened at its first use; `fileMode` is for a new file.
    RegistryStore(std::string path, mode_t fileMode) : path_(std::move(path)), mode_(fileMode) {}

    /// Brings the connection and the cache up to date; must precede the first read of each public
    /// call. With `lookForFile` it also notices that the file was deleted or replaced, which an
    /// open connection doesn't. Throws RegistryFailure, as the functions below do that read or
    /// write.
    void refresh(bool lookForFile);
    /// A number that changes when the file appears, is gone, or is replaced by another one, because
    /// a key's number is valid in one file only.
    std::uint64_t generation() const noexcept { return generation_; }
    /// Whether this process may write the store, or make it.
    bool writable();

    /// The number of the key `folded` below `parent`; 0 if there is none.
    std::int64_t child(std::int64_t parent, const std::u16string& folded);
    /// The values or subkeys of a key; null if there is no such key. Valid until the next refresh
    /// or write, or until another key's values or subkeys are read, which may empty the cache.
    const RegistryValues* values(std::int64_t key);
    const RegistryNames* subKeys(std::int64_t key);
    /// Reads a value of any size from the store itself and not from the cache; false if there is
    /// none.
    bool value(std::int64_t key, const std::u16string& folded, DWORD& type,
               std::vector<BYTE>& data);

    /// Runs `body` in one transaction: what it reads from the database, and not from the cache, is
    /// of one state of the store.
    void read(const std::function<void()>& body);
    /// Runs a change in one transaction: it happens as a whole or not at all. `body` works on the
    /// tables and may throw. Makes the store if there is none. Throws RegistryFailure, among others
    /// with ERROR_ACCESS_DENIED if the store is open as immutable.
    void write(const std::function<void(RegistryDatabase&)>& body);

    /// Closes the connection; the next refresh() opens another. With `quickly` the log isn't
    /// written back. In a forked child that hasn't called refresh() yet this does nothing, because
    /// the connection is the parent's.
    void release(bool quickly) noexcept;

  private:
    /// What the cache has of one key.
    struct Known {
        std::optional<RegistryValues> values;
        std::optional<RegistryNames> subKeys;
    };
    void open();
    /// Whether the store has a write-ahead log. Then the store's file alone may lack the last
    /// commits.
    bool hasLog() const;
    /// Whether there is a log without an index, and this process may not make the index. A writer
    /// that is just making the log will make the index, too.
    bool logIsHalfMade() const;
    /// Opens a connection, shared if possible. A process that may only read the store gets an
    /// immutable one if the store can't be shared and has no write-ahead log. If a writer is just
    /// making the log, such a process waits until it is complete, for about 100 ms at most.
    std::unique_ptr<RegistryDatabase> connect() const;
    std::unique_ptr<RegistryDatabase> connectAs(RegistryDatabase::Mode mode) const;
    void forget() noexcept;
    Known* known(std::int64_t key);

    const std::string path_;
    const mode_t mode_;
    std::unique_ptr<RegistryDatabase> database_;
    FileStamp file_;  // of the file that is open, or was last looked for
    ForkMark fork_;   // the process that opened database_
    std::uint64_t generation_ = 0;
    std::optional<bool> writable_;  // none: not found out yet

    // The change mark and the data version identify the state of the store that the cache has.
    std::optional<RegistryDatabase::ChangeMark> mark_;
    std::int64_t version_ = 0;
    std::unordered_map<std::int64_t, Known> known_;  // only keys that exist
    std::map<std::pair<std::int64_t, std::u16string>, std::int64_t> children_;  // 0: no such child
};

}  // namespace zlk::platform
