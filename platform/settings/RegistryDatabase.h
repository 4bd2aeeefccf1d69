#pragma once
// A SQLite connection, and queries on it that can't be misread: a column of another type than the
// one asked for is a broken store, whoever wrote it.

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/settings/RegistryTypes.h"

struct sqlite3;
struct sqlite3_stmt;

namespace zlk::platform {

class RegistryDatabase {
  public:
    enum class Mode {
        Shared,     ///< read and written by several processes
        Immutable,  ///< nobody writes it while it is open
    };

    /// Opens a store that is there. Throws RegistryFailure.
    RegistryDatabase(const std::string& path, Mode mode);
    /// A new one in memory, without tables.
    RegistryDatabase();

    bool immutable() const noexcept { return immutable_; }
    bool opensReadOnly() const noexcept;
    bool isInTransaction() const noexcept;

    /// The file that this database would be.
    std::vector<BYTE> image();

    /// Bytes in memory shared with the writers that differ after every commit of anybody; nothing
    /// where there is no such memory (a store without a write-ahead log, or one whose log can't be
    /// shared).
    using ChangeMark = std::array<BYTE, 48>;
    std::optional<ChangeMark> changeMark() noexcept;
    /// A number that differs after a commit of another connection. Some microseconds.
    std::int64_t dataVersion();

    /// Closes it and leaves the write-ahead log to whoever comes next.
    void closeQuickly() noexcept;
    /// Gives the connection up without a touch: it belongs to the process that forked this one.
    void abandon() noexcept;

    /// Runs statements without results.
    void execute(const char* sql);
    /// Throws the RegistryFailure that stands for a code of SQLite.
    [[noreturn]] void fail(int code);
    /// The same for what can be read and makes no sense.
    [[noreturn]] void failAsBroken();

  private:
    friend class RegistryQuery;
    struct Close {
        void operator()(sqlite3* connection) const noexcept;
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    sqlite3_stmt* statement(const char* sql);

    std::string path_;
    bool immutable_ = false;
    bool sharesLog_ = false;  // for as long as it is open: no other process can take it away
    std::unique_ptr<sqlite3, Close> connection_;
    std::map<const char*, std::unique_ptr<sqlite3_stmt, Close>> statements_;  // by text address
};

/// One run of a statement. `sql` must live as long as the connection: it is prepared once.
class RegistryQuery {
  public:
    RegistryQuery(RegistryDatabase& database, const char* sql);
    ~RegistryQuery();
    RegistryQuery(const RegistryQuery&) = delete;
    RegistryQuery& operator=(const RegistryQuery&) = delete;

    RegistryQuery& bind(std::int64_t number);
    /// The bytes must live as long as the query.
    RegistryQuery& bind(std::span<const BYTE> bytes);
    RegistryQuery& bindName(std::u16string_view name);

    /// Whether there is another row. Throws RegistryFailure.
    bool next();
    void run() {
        while (next()) {
        }
    }
    bool isNull(int column);
    std::int64_t number(int column);
    std::span<const BYTE> bytes(int column);
    std::u16string name(int column);

  private:
    RegistryDatabase& database_;
    sqlite3_stmt* statement_;
    int bound_ = 0;
    std::deque<std::vector<BYTE>> names_;
};

/// A transaction that is undone unless it is committed.
class RegistryTransaction {
  public:
    enum class Kind { Read, Write };
    RegistryTransaction(RegistryDatabase& database, Kind kind);
    ~RegistryTransaction();
    RegistryTransaction(const RegistryTransaction&) = delete;
    RegistryTransaction& operator=(const RegistryTransaction&) = delete;
    void commit();

  private:
    RegistryDatabase& database_;
    bool open_ = true;
};

}  // namespace zlk::platform
