#pragma once
// The tables of a store, in one place:
//
//     key    id (never used twice), parent (null for the two roots), folded, name
//     value  key, place (grows with each making), folded, name, type, data
//
// A name is a blob of big-endian UTF-16: every unit comes back as it went in, and the order of the
// bytes is that of compareIgnoringCase. `folded` is the name in upper case. What lies below a
// deleted key goes with it. The values of a key lie together, in their order.
//
// All throw RegistryFailure.

#include "platform/settings/RegistryDatabase.h"

namespace zlk::platform {

inline constexpr std::int64_t localMachineId = 1;
inline constexpr std::int64_t classesRootId = 2;

/// Data up to this size comes with the value; larger ones only by readValue.
inline constexpr std::size_t dataAtHand = 4096;  // bytes

void createTables(RegistryDatabase& database);
/// ERROR_BADDB for a file of something else, or of a later version.
void checkTables(RegistryDatabase& database, const std::string& path);

bool keyExists(RegistryDatabase& database, std::int64_t key);
/// 0 if there is none.
std::int64_t findChild(RegistryDatabase& database, std::int64_t parent,
                       const std::u16string& folded);
RegistryNames readSubKeys(RegistryDatabase& database, std::int64_t key);
RegistryValues readValues(RegistryDatabase& database, std::int64_t key);
/// Type and data as they are now; false if there is no such value.
bool readValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded,
               DWORD& type, std::vector<BYTE>& data);

/// The key's number, whether made or there already. ERROR_KEY_DELETED without a parent.
std::int64_t makeChild(RegistryDatabase& database, std::int64_t parent, const RegistryName& name);
void writeValue(RegistryDatabase& database, std::int64_t key, const RegistryName& name, DWORD type,
                std::span<const BYTE> data);
/// False if there was none.
bool deleteValue(RegistryDatabase& database, std::int64_t key, const std::u16string& folded);
void deleteKey(RegistryDatabase& database, std::int64_t key);

}  // namespace zlk::platform
