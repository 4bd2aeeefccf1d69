#include "platform/settings/RegistryTables.h"

#include <limits>

#include "platform/base/Diagnose.h"

namespace zlk::platform {
namespace {

// application_id is "ZLKR", and user_version counts the versions of these tables. A change of
// upperCase would need a new version, because `folded` stores its results.
constexpr char schema[] = R"(
    PRAGMA application_id = 0x5A4C4B52;
    PRAGMA user_version = 1;
    CREATE TABLE key(
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        parent INTEGER REFERENCES key(id) ON DELETE CASCADE,
        folded BLOB NOT NULL,
        name BLOB NOT NULL,
        UNIQUE(parent, folded)) STRICT;
    CREATE TABLE value(
        key INTEGER NOT NULL REFERENCES key(id) ON DELETE CASCADE,
        place INTEGER NOT NULL,
        folded BLOB NOT NULL,
        name BLOB NOT NULL,
        type INTEGER NOT NULL,
        data BLOB NOT NULL,
        PRIMARY KEY(key, place),
        UNIQUE(key, folded)) STRICT, WITHOUT ROWID;
    INSERT INTO key(id, parent, folded, name) VALUES (1, NULL, x'', x''), (2, NULL, x'', x'');
)";
constexpr std::int64_t applicationId = 0x5A4C4B52;
constexpr std::int64_t formVersion = 1;

constexpr char applicationIdSql[] = "PRAGMA application_id";
constexpr char formVersionSql[] = "PRAGMA user_version";
constexpr char keyExistsSql[] = "SELECT 1 FROM key WHERE id = ?";
constexpr char findChildSql[] = "SELECT id FROM key WHERE parent = ? AND folded = ?";
constexpr char subKeysSql[] = "SELECT name, folded FROM key WHERE parent = ? ORDER BY folded";
// The text of a query can't name a constant, so dataAtHand stands here as a number. Larger data
// comes as null, and readValue reads it.
constexpr char valuesSql[] =
    "SELECT name, folded, type, length(data), CASE WHEN length(data) <= 4096 THEN data END "
    "FROM value WHERE key = ? ORDER BY place";
static_assert(dataAtHand == 4096);
constexpr char valueSql[] = "SELECT type, data FROM value WHERE key = ? AND folded = ?";
constexpr char makeChildSql[] =
    "INSERT INTO key(parent, folded, name) VALUES (?, ?, ?) ON CONFLICT DO NOTHING";
// A value that is overwritten keeps its place and the spelling of its name.
constexpr char writeValueSql[] =
    "INSERT INTO value(key, folded, name, type, data, place) VALUES (?1, ?2, ?3, ?4, ?5, "
    "(SELECT coalesce(max(place), 0) + 1 FROM value WHERE key = ?1)) "
    "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data";
// RETURNING tells whether there was a value.
constexpr char deleteValueSql[] = "DELETE FROM value WHERE key = ? AND folded = ? RETURNING 1";
constexpr char deleteKeySql[] = "DELETE FROM key WHERE id = ?";

DWORD typeOf(RegistryDatabase& database, std::int64_t stored) {
    if (stored < 0 || stored > std::numeric_limits<DWORD>::max()) database.failAsBroken();
    return static_cast<DWORD>(stored);
}

}  // namespace

void createTables(RegistryDatabase& database) {
    database.execute(schema);
}

void checkTables(RegistryDatabase& database, const std::string& path) {
    const auto ask = [&](const char* sql) {
        RegistryQuery query(database, sql);
        return query.next() ? query.number(0) : 0;
    };
    if (ask(applicationIdSql) == applicationId && ask(formVersionSql) == formVersion) return;
    diagnose("Registry", u"%s is not a settings store of this version", path);
    throw RegistryFailure{ERROR_BADDB};
}

bool keyExists(RegistryDatabase& database, std::int64_t key) {
    return RegistryQuery(database, keyExistsSql).bind(key).next();
}

std::int64_t findChild(RegistryDatabase& database, std::int64_t parent,
                       const std::u16string& folded) {
    RegistryQuery query(database, findChildSql);
    return query.bind(parent).bindName(folded).next() ? query.number(0) : 0;
}

RegistryNames readSubKeys(RegistryDatabase& database, std::int64_t key) {
    RegistryNames names;
    RegistryQuery query(database, subKeysSql);
    query.bind(key);
    while (query.next()) names.push_back({query.name(0), query.name(1)});
    return names;
}

RegistryValues readValues(RegistryDatabase& database, std::int64_t key) {
    RegistryValues values;
    RegistryQuery query(database, valuesSql);
    query.bind(key);
    while (query.next()) {
        const std::int64_t size = query.number(3);
        if (size < 0 || size > static_cast<std::int64_t>(maxRegistryData)) database.failAsBroken();
        values.push_back({{query.name(0), query.name(1)},
                          typeOf(database, query.number(2)),
                          static_cast<DWORD>(size),
                          {}});
        if (query.isNull(4)) continue;
        const std::span<const BYTE> data = query.bytes(4);
        values.back().data.emplace(data.begin(), data.end());
    }
    return values;
}

bool readValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded,
               DWORD& type, std::vector<BYTE>& data) {
    RegistryQuery query(database, valueSql);
    if (!query.bind(key).bindName(folded).next()) return false;
    type = typeOf(database, query.number(0));
    const std::span<const BYTE> bytes = query.bytes(1);
    if (bytes.size() > maxRegistryData) database.failAsBroken();
    data.assign(bytes.begin(), bytes.end());
    return true;
}

std::int64_t makeChild(RegistryDatabase& database, std::int64_t parent, const RegistryName& name) {
    RegistryQuery(database, makeChildSql)
        .bind(parent)
        .bindName(name.folded)
        .bindName(name.name)
        .run();
    return findChild(database, parent, name.folded);
}

void writeValue(RegistryDatabase& database, std::int64_t key, const RegistryName& name, DWORD type,
                std::span<const BYTE> data) {
    RegistryQuery(database, writeValueSql)
        .bind(key)
        .bindName(name.folded)
        .bindName(name.name)
        .bind(type)
        .bind(data)
        .run();
}

bool deleteValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded) {
    RegistryQuery query(database, deleteValueSql);
    query.bind(key).bindName(folded);
    bool any = false;
    while (query.next()) any = true;
    return any;
}

void deleteKey(RegistryDatabase& database, std::int64_t key) {
    RegistryQuery(database, deleteKeySql).bind(key).run();
}

}  // namespace zlk::platform
