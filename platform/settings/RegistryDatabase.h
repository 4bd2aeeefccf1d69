#pragma once
// A SQLite connection for the settings store, and queries on it. A column of another type than the
// one asked for counts as damage to the store. One thread at a time may use a connection and its
// queries.

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
        Immutable,  ///< read as if nobody wrote it
    };

    /// Opens an existing store. A store that is shared and can be written gets the kind of log that
    /// works on its file system, if it can be converted: other users of the store may prevent that.
    /// Throws RegistryFailure.
    RegistryDatabase(const std::string& path, Mode mode);
    /// Makes a new store in memory, without tables. Throws RegistryFailure.
    RegistryDatabase();

    bool immutable() const noexcept { return immutable_; }
    /// Whether the file is open for reading only, because this process can't write it or opened it
    /// as immutable.
    bool opensReadOnly() const noexcept;
    bool isInTransaction() const noexcept;

    /// The content of the file that this database would be stored as.
    std::vector<BYTE> image();

    /// Bytes that all writers of a store share in memory, and that are different after each change
    /// to the store. Once the memory is mapped, reading them costs no system call. There are none
    /// if the store was opened as immutable, has no write-ahead log, or the memory can't be mapped.
    using ChangeMark = std::array<BYTE, 48>;
    std::optional<ChangeMark> changeMark() noexcept;
    /// A number that is different after each change by another connection.
    std::int64_t dataVersion();

    /// Closes the connection, and leaves it to the store's next user to write the log back.
    void closeQuickly() noexcept;
    /// Drops the connection without closing it. A forked child does this with its parent's
    /// connection, because the child doesn't inherit the file locks on which the connection relies.
    void abandon() noexcept;

    /// Runs statements and ignores their results. Throws RegistryFailure.
    void execute(const char* sql);
    /// Throws the RegistryFailure that stands for a result code of SQLite. ERROR_BADDB,
    /// ERROR_DISK_FULL and ERROR_IO_DEVICE are also reported to the diagnostics.
    [[noreturn]] void fail(int code);
    /// Throws ERROR_BADDB, after a line to the diagnostics, for a store whose content makes no
    /// sense.
    [[noreturn]] void failAsBroken();

  private:
    friend class RegistryQuery;
    struct Close {
        void operator()(sqlite3* connection) const noexcept;
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    /// The prepared form of a statement, made at its first use.
    sqlite3_stmt* statement(const char* sql);

    std::string path_;
    bool immutable_ = false;
    bool sharesLog_ = false;  // the store has a write-ahead log, whose index is in shared memory
    std::unique_ptr<sqlite3, Close> connection_;
    std::map<const char*, std::unique_ptr<sqlite3_stmt, Close>> statements_;  // by text address
};

/// One run of a statement, from its binding to its last row. `sql` must live as long as the
/// connection, because its address is the key of the prepared statement. Only one run of a
/// statement may exist at a time.
class RegistryQuery {
  public:
    RegistryQuery(RegistryDatabase& database, const char* sql);
    ~RegistryQuery();
    RegistryQuery(const RegistryQuery&) = delete;
    RegistryQuery& operator=(const RegistryQuery&) = delete;

    /// Binds the next parameter, counted from the left.
    RegistryQuery& bind(std::int64_t number);
    /// The bytes are borrowed and must live as long as the query.
    RegistryQuery& bind(std::span<const BYTE> bytes);
    /// Binds a name in its stored form (RegistryTables.h); the query keeps a copy.
    RegistryQuery& bindName(std::u16string_view name);

    /// Goes to the next row; false if there is none. Throws RegistryFailure.
    bool next();
    void run() {
        while (next()) {
        }
    }
    /// Columns of the current row, counted from 0. All but isNull throw ERROR_BADDB for a column of
    /// another type, and name() also for bytes that are no name. Bytes are valid until next() is
    /// called or the query ends.
    bool isNull(int column);
    std::int64_t number(int column);
    std::span<const BYTE> bytes(int column);
    std::u16string name(int column);

  private:
    RegistryDatabase& database_;
    sqlite3_stmt* statement_;
    int bound_ = 0;                        // parameters bound so far
    std::deque<std::vector<BYTE>> names_;  // bound names, which must live as long as the query
};

/// A transaction that its destructor undoes unless it has been committed. A Write takes the store's
/// write lock at once and waits for it up to five seconds.
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
