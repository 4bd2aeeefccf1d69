#pragma once
// What is known of one file of a folder that copies were made into.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/Digest.h"

namespace zlk {

/// What a run did with a file whose sum it recorded.
enum class HashAction : std::uint8_t {
    Original,  ///< it came to be there
    Verified,  ///< it had the sum that had been recorded before
    Failed,    ///< it had another one
};

struct HashRecord {
    std::string path;  ///< below the folder: UTF-8, components parted by `/`, see isRecordedPath
    std::optional<std::uint64_t> size{};
    std::optional<std::int64_t> modified{};  ///< seconds since 1970 UTC
    std::vector<Digest> sums{};              ///< one at most of each kind
    HashAction action = HashAction::Original;
    std::string source{};   ///< the path that the file had on the device; empty if nobody knows
    std::uint32_t run = 0;  ///< in FolderHistory::runs(); of no meaning to a writer

    /// Null if there is none of this kind.
    const Digest* sum(DigestKind kind) const;
};

/// Among records that are sorted by path; null if the file isn't recorded.
const HashRecord* findRecord(const std::vector<HashRecord>& sorted, std::string_view path);

/// Where a media hash list keeps its manifests.
inline constexpr std::string_view historyFolder = "ascmhl";

bool isUtf8(std::string_view bytes);

/// Whether a path leads to something that a history may tell of: valid UTF-8, below the folder,
/// and not into a history itself. A forged record must not make anybody read or write elsewhere.
bool isRecordedPath(std::string_view path);

}  // namespace zlk
