#pragma once
// The machine's own settings: keys by number, values, and what of them is known to hold still.
//
// The connection is opened at the first use that finds a file and made anew when the file has been
// replaced. What was read is kept until somebody commits: each use first compares the change mark
// that was read before anything was kept (or, without one, the connection's data version).
// Whatever is read between two equal marks is of one state, so the kept answers fit together.
//
// Not for several threads at once. A connection never crosses a fork: `release` goes before it.
// A process that dies leaves its last commit; what it was writing is undone by the next opener.

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
    /// Opens nothing yet.
    RegistryStore(std::string path, mode_t fileMode) : path_(std::move(path)), mode_(fileMode) {}

    /// Before each call's first look at the store. `lookForFile`: also whether the file is
    /// (still) there, which an open connection doesn't tell. Throws RegistryFailure, as all below.
    void refresh(bool lookForFile);
    /// Differs once all key numbers have become meaningless, since the file is another one.
    std::uint64_t generation() const noexcept { return generation_; }
    bool writable();

    /// The key below `parent`; 0 if there is none.
    std::int64_t child(std::int64_t parent, const std::u16string& folded);
    /// Null if there is no such key. Good until the next refresh or write.
    const RegistryValues* values(std::int64_t key);
    const RegistryNames* subKeys(std::int64_t key);
    /// A value as it is now, however large; false if there is none.
    bool value(std::int64_t key, const std::u16string& folded, DWORD& type,
               std::vector<BYTE>& data);

    /// Runs several reads on one state.
    void read(const std::function<void()>& body);
    /// Runs a change that happens whole or not at all; `body` works on the tables. Makes the store
    /// if there is none.
    void write(const std::function<void(RegistryDatabase&)>& body);

    /// Closes the connection; the next use opens another. `quickly`: without tidying the log.
    void release(bool quickly) noexcept;

  private:
    struct Known {
        std::optional<RegistryValues> values;
        std::optional<RegistryNames> subKeys;
    };
    void open();
    /// What somebody writes is in there, and not in the store's own file, for some time.
    bool hasLog() const;
    /// A writer is making it, and this reader may not help: it has no index yet.
    bool logIsHalfMade() const;
    /// As the caller may use the store. A reader waits for the log that a writer is making.
    std::unique_ptr<RegistryDatabase> connect() const;
    std::unique_ptr<RegistryDatabase> connectAs(RegistryDatabase::Mode mode) const;
    void forget() noexcept;
    Known* known(std::int64_t key);

    const std::string path_;
    const mode_t mode_;
    std::unique_ptr<RegistryDatabase> database_;
    FileStamp file_;
    ForkMark fork_;
    std::uint64_t generation_ = 0;
    std::optional<bool> writable_;

    std::optional<RegistryDatabase::ChangeMark> mark_;
    std::int64_t version_ = 0;
    std::unordered_map<std::int64_t, Known> known_;  // only keys that exist
    std::map<std::pair<std::int64_t, std::u16string>, std::int64_t> children_;
};

}  // namespace zlk::platform
