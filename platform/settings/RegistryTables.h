#pragma once
// The tables of a store, and all SQL that reads and writes them:
//
//     key    id (never used twice), parent (null for the two roots), folded, name
//     value  key, place (a new value gets the key's highest), folded, name, type, data
//
// A name is a blob of big-endian UTF-16: every unit comes back as it went in, even in a name that
// isn't valid UTF-16. `folded` is the name in upper case, and its blobs sort in the order of
// compareIgnoringCase. Deleting a key deletes what lies below it. The values of a key are stored
// together, in the order of `place`.
//
// All functions throw RegistryFailure.

#include "platform/settings/RegistryDatabase.h"

namespace zlk::platform {

// The ids of the two roots, which createTables makes.
inline constexpr std::int64_t localMachineId = 1;
inline constexpr std::int64_t classesRootId = 2;

/// Data up to this size is read together with the other values of its key; larger data only by
/// readValue.
inline constexpr std::size_t dataAtHand = 4096;  // bytes

void createTables(RegistryDatabase& database);
/// Throws ERROR_BADDB, after a line to the diagnostics that names `path`, for a database of another
/// program or another version.
void checkTables(RegistryDatabase& database, const std::string& path);

bool keyExists(RegistryDatabase& database, std::int64_t key);
/// The id of the key `folded` below `parent`; 0 if there is none.
std::int64_t findChild(RegistryDatabase& database, std::int64_t parent,
                       const std::u16string& folded);
RegistryNames readSubKeys(RegistryDatabase& database, std::int64_t key);
RegistryValues readValues(RegistryDatabase& database, std::int64_t key);
bool readValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded,
               DWORD& type, std::vector<BYTE>& data);

/// Makes the key `name` below `parent`, and returns its id, also if it was there already. Throws
/// ERROR_KEY_DELETED if the parent is gone.
std::int64_t makeChild(RegistryDatabase& database, std::int64_t parent, const RegistryName& name);
void writeValue(RegistryDatabase& database, std::int64_t key, const RegistryName& name, DWORD type,
                std::span<const BYTE> data);
/// Deletes a value; false if there was none.
bool deleteValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded);
void deleteKey(RegistryDatabase& database, std::int64_t key);

}  // namespace zlk::platform
