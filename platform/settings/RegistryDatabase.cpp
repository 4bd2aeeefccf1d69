#include "platform/settings/RegistryDatabase.h"

#include <sqlite3.h>

#include <atomic>
#include <memory>
#include <new>

#include "platform/base/Diagnose.h"
#include "platform/base/PosixError.h"
#include "platform/settings/RegistryFile.h"

namespace zlk::platform {
namespace {

constexpr char dataVersionSql[] = "PRAGMA data_version";
constexpr char beginReadSql[] = "BEGIN";
constexpr char beginWriteSql[] = "BEGIN IMMEDIATE";
constexpr char commitSql[] = "COMMIT";
constexpr char rollbackSql[] = "ROLLBACK";

constexpr int busyTimeout = 5000;  // ms

// The form of a path that makes SQLite open a file without locks or a log, and without looking for
// changes.
std::string immutableUri(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            constexpr char digits[] = "0123456789ABCDEF";
            uri += {'%', digits[c >> 4], digits[c & 15]};
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

// `code` is an extended result code, `systemError` the errno of the failing system call.
DWORD errorFromSqlite(int code, int systemError) {
    switch (code & 0xFF) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return ERROR_BUSY;
        case SQLITE_FULL:
            return ERROR_DISK_FULL;
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return ERROR_ACCESS_DENIED;
        case SQLITE_NOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case SQLITE_TOOBIG:
            return ERROR_INVALID_PARAMETER;
        case SQLITE_CONSTRAINT:
            return code == SQLITE_CONSTRAINT_FOREIGNKEY ? ERROR_KEY_DELETED : ERROR_BADDB;
        case SQLITE_CANTOPEN:
        case SQLITE_IOERR: {
            if (code == SQLITE_IOERR_NOMEM) return ERROR_NOT_ENOUGH_MEMORY;
            const DWORD error = errorFromErrno(systemError);
            if (error == ERROR_WRITE_PROTECT) return ERROR_ACCESS_DENIED;
            if (error == ERROR_DISK_FULL || error == ERROR_ACCESS_DENIED ||
                error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_TOO_MANY_OPEN_FILES)
                return error;
            return ERROR_IO_DEVICE;
        }
        default:  // such as SQLITE_CORRUPT, SQLITE_NOTADB, or SQLITE_ERROR if a table is missing
            return ERROR_BADDB;
    }
}

// Receives the answer to "PRAGMA journal_mode".
int noteLog(void* sharesLog, int, char** columns, char**) {
    *static_cast<bool*>(sharesLog) = columns[0] && std::string_view(columns[0]) == "wal";
    return 0;
}

}  // namespace

void RegistryDatabase::Close::operator()(sqlite3* connection) const noexcept {
    ::sqlite3_close(connection);
}

void RegistryDatabase::Close::operator()(sqlite3_stmt* statement) const noexcept {
    ::sqlite3_finalize(statement);
}

RegistryDatabase::RegistryDatabase(const std::string& path, Mode mode)
    : path_{path}, immutable_{mode == Mode::Immutable} {
    const std::string name = immutable_ ? immutableUri(path) : path;
    const int access = immutable_ ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
    // The caller's lock makes SQLite's own mutexes needless. The connection has a cache of its own,
    // whatever the application has chosen for its own connections. Extended codes tell
    // errorFromSqlite more.
    constexpr int manners = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE;
    sqlite3* connection = nullptr;
    const int code = ::sqlite3_open_v2(name.c_str(), &connection, access | manners, nullptr);
    connection_.reset(connection);
    if (code != SQLITE_OK) fail(code);
    ::sqlite3_busy_timeout(connection, busyTimeout);
    // The log file stays when its last user closes the store: a reader without the right to make
    // files can't share a store whose log is missing.
    int keepLog = 1;
    ::sqlite3_file_control(connection, "main", SQLITE_FCNTL_PERSIST_WAL, &keepLog);
    // SQL in the file itself isn't trusted. NORMAL keeps a commit when the process dies, and waits
    // less for the disk than FULL would.
    execute("PRAGMA trusted_schema = OFF; PRAGMA foreign_keys = ON; PRAGMA synchronous = NORMAL");
    if (!immutable_ && !opensReadOnly()) {
        // A store that was moved to another kind of file system gets the kind of log that works
        // there. The conversion may fail while others have the store open, and then the store is
        // used as it is.
        const char* convert =
            sharesMemory(path) ? "PRAGMA journal_mode = WAL" : "PRAGMA journal_mode = DELETE";
        ::sqlite3_exec(connection, convert, nullptr, nullptr, nullptr);
        execute("PRAGMA journal_size_limit = 0");
    }
    ::sqlite3_exec(connection, "PRAGMA journal_mode", noteLog, &sharesLog_, nullptr);
    if (immutable_) sharesLog_ = false;
}

RegistryDatabase::RegistryDatabase() : path_("a new store") {
    sqlite3* connection = nullptr;
    const int code = ::sqlite3_open(":memory:", &connection);
    connection_.reset(connection);
    if (code != SQLITE_OK) fail(code);
    ::sqlite3_extended_result_codes(connection, 1);
}

bool RegistryDatabase::opensReadOnly() const noexcept {
    return ::sqlite3_db_readonly(connection_.get(), "main") != 0;
}

bool RegistryDatabase::isInTransaction() const noexcept {
    return ::sqlite3_get_autocommit(connection_.get()) == 0;
}

std::vector<BYTE> RegistryDatabase::image() {
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, decltype(&::sqlite3_free)> bytes(
        ::sqlite3_serialize(connection_.get(), "main", &size, 0), &::sqlite3_free);
    if (!bytes) fail(SQLITE_NOMEM);
    return {bytes.get(), bytes.get() + size};
}

std::optional<RegistryDatabase::ChangeMark> RegistryDatabase::changeMark() noexcept {
    // The first 48 bytes of the index of the write-ahead log contain the number of the last commit,
    // its place in the log and its checksum. SQLite's readers compare these very bytes to learn
    // whether anything is new.
    if (!sharesLog_) return {};  // mapping the index would create it
    sqlite3_file* file = nullptr;
    ::sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || !file->pMethods || file->pMethods->iVersion < 2) return {};
    constexpr int regionSize = 32 * 1024;
    void volatile* region = nullptr;
    const int code = file->pMethods->xShmMap(file, 0, regionSize, 0, &region);
    if ((code != SQLITE_OK && code != SQLITE_READONLY) || !region) return {};
    // The fence keeps the reads below from being moved ahead of the mapping.
    std::atomic_thread_fence(std::memory_order_acquire);
    ChangeMark mark;
    const auto* source = static_cast<const volatile BYTE*>(region);
    for (std::size_t i = 0; i < mark.size(); ++i) mark[i] = source[i];
    return mark;
}

std::int64_t RegistryDatabase::dataVersion() {
    RegistryQuery query(*this, dataVersionSql);
    if (!query.next()) failAsBroken();
    return query.number(0);
}

void RegistryDatabase::closeQuickly() noexcept {
    ::sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    statements_.clear();
    connection_.reset();
}

void RegistryDatabase::abandon() noexcept {
    // Leaked on purpose: finalizing or closing could write to the parent's files.
    for (auto& [sql, prepared] : statements_) static_cast<void>(prepared.release());
    static_cast<void>(connection_.release());
}

void RegistryDatabase::fail(int code) {
    const DWORD error =
        errorFromSqlite(code, connection_ ? ::sqlite3_system_errno(connection_.get()) : 0);
    if (error == ERROR_BADDB || error == ERROR_IO_DEVICE || error == ERROR_DISK_FULL)
        diagnose("Registry", u"%s can't be used: %s", path_, ::sqlite3_errstr(code));
    throw RegistryFailure{error};
}

void RegistryDatabase::failAsBroken() {
    fail(SQLITE_CORRUPT);
}

sqlite3_stmt* RegistryDatabase::statement(const char* sql) {
    auto& prepared = statements_[sql];
    if (!prepared) {
        sqlite3_stmt* made = nullptr;
        const int code = ::sqlite3_prepare_v3(connection_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                                              &made, nullptr);
        if (code != SQLITE_OK) fail(code);
        prepared.reset(made);
    }
    return prepared.get();
}

void RegistryDatabase::execute(const char* sql) {
    const int code = ::sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) fail(code);
}

RegistryQuery::RegistryQuery(RegistryDatabase& database, const char* sql)
    : database_(database), statement_(database.statement(sql)) {}

RegistryQuery::~RegistryQuery() {
    ::sqlite3_reset(statement_);
    ::sqlite3_clear_bindings(statement_);
}

RegistryQuery& RegistryQuery::bind(std::int64_t number) {
    ::sqlite3_bind_int64(statement_, ++bound_, number);
    return *this;
}

RegistryQuery& RegistryQuery::bind(std::span<const BYTE> bytes) {
    // SQLite takes a null address for NULL, which isn't the same as an empty blob.
    const void* data = bytes.empty() ? static_cast<const void*>("") : bytes.data();
    ::sqlite3_bind_blob64(statement_, ++bound_, data, bytes.size(), SQLITE_STATIC);
    return *this;
}

RegistryQuery& RegistryQuery::bindName(std::u16string_view name) {
    std::vector<BYTE>& bytes = names_.emplace_back();
    bytes.reserve(name.size() * 2);
    for (const WCHAR unit : name) {
        bytes.push_back(static_cast<BYTE>(unit >> 8));
        bytes.push_back(static_cast<BYTE>(unit));
    }
    return bind(bytes);
}

bool RegistryQuery::next() {
    const int code = ::sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    database_.fail(code);
}

bool RegistryQuery::isNull(int column) {
    return ::sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t RegistryQuery::number(int column) {
    if (::sqlite3_column_type(statement_, column) != SQLITE_INTEGER) database_.failAsBroken();
    return ::sqlite3_column_int64(statement_, column);
}

std::span<const BYTE> RegistryQuery::bytes(int column) {
    if (::sqlite3_column_type(statement_, column) != SQLITE_BLOB) database_.failAsBroken();
    const auto* data = static_cast<const BYTE*>(::sqlite3_column_blob(statement_, column));
    return {data, static_cast<std::size_t>(::sqlite3_column_bytes(statement_, column))};
}

std::u16string RegistryQuery::name(int column) {
    const std::span<const BYTE> stored = bytes(column);
    if (stored.size() % 2 || stored.size() / 2 > maxRegistryValueName) database_.failAsBroken();
    std::u16string name(stored.size() / 2, u'\0');
    for (std::size_t i = 0; i < name.size(); ++i)
        name[i] = static_cast<WCHAR>(stored[2 * i] << 8 | stored[2 * i + 1]);
    return name;
}

RegistryTransaction::RegistryTransaction(RegistryDatabase& database, Kind kind)
    : database_(database) {
    RegistryQuery(database_, kind == Kind::Write ? beginWriteSql : beginReadSql).run();
}

RegistryTransaction::~RegistryTransaction() {
    // Some failures, such as a full disk, have undone the transaction already.
    if (!open_ || !database_.isInTransaction()) return;
    try {
        RegistryQuery(database_, rollbackSql).run();
    } catch (const RegistryFailure&) {
        // A destructor can't report a failure.
    } catch (const std::bad_alloc&) {
    }
}

void RegistryTransaction::commit() {
    RegistryQuery(database_, commitSql).run();
    open_ = false;
}

}  // namespace zlk::platform
