#pragma once
// The record of one file in a folder of copies: its size, time and sums, and where it came from.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/Digest.h"

namespace zlk {

/// What a run did with a file whose sum it recorded.
enum class HashAction : std::uint8_t {
    Original,  ///< there was no recorded sum to compare with
    Verified,  ///< the file had the sum that was recorded before
    Failed,    ///< the file had another sum
};

/// What is recorded of one file, by one run or, after a RecordMerge, by several runs.
struct HashRecord {
    std::string path;  ///< below the folder: UTF-8, separated by `/`, see isRecordedPath
    std::optional<std::uint64_t> size{};
    std::optional<std::int64_t> modified{};  ///< seconds since 1970 UTC
    std::vector<Digest> sums{};              ///< at most one of each kind
    HashAction action = HashAction::Original;
    std::string source{};  ///< the path that the file had on the device; empty if unknown
    /// Index of FolderHistory::runs(): the run that `source` is from. Writers ignore it.
    std::uint32_t run = 0;

    /// The sum of this kind; null if there is none.
    const Digest* sum(DigestKind kind) const;
};

/// Finds a record among records sorted by path; null if the file has none.
const HashRecord* findRecord(const std::vector<HashRecord>& sorted, std::string_view path);

/// The folder in which a media hash list keeps its manifests.
inline constexpr std::string_view historyFolder = "ascmhl";

bool isUtf8(std::string_view bytes);

/// Whether a record may have this path: valid UTF-8 of at most 4095 bytes without a zero byte, and
/// no component of it empty, `.`, `..` or the folder of a history. A forged record must not make
/// anybody read or write elsewhere.
bool isRecordedPath(std::string_view path);

}  // namespace zlk
