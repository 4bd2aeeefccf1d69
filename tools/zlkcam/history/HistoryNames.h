#pragma once
// Forms and recognises the names of a history's files: manifests, sums files and reports.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/zlkcam/history/Digest.h"

namespace zlk {

inline constexpr std::string_view manifestSuffix = ".mhl";
/// Suffix of a run's report for people, without its dot.
inline constexpr std::string_view reportSuffix = "html";
inline constexpr char chainName[] = "ascmhl_chain.xml";

/// The number of a generation from the name of its manifest, `<number>_....mhl`; none for another
/// name, and for a number beyond lastGeneration.
std::optional<std::uint32_t> generationNumber(std::string_view name);
inline constexpr std::uint32_t lastGeneration = 999'999'999;

/// The kind of sums in a file of this name, `..._<date>Z.xxh128` or `.sha256`; none for another
/// name.
std::optional<DigestKind> sumsFileKind(std::string_view name);

/// The date in the name of a manifest, sums file or report, as nameTimeText writes it. Only a
/// number such as `-2` and the suffix may follow the date. Empty if there is none.
std::string_view dateInName(std::string_view name);

std::string manifestName(std::uint32_t number, const std::string& folderName, std::int64_t made);
/// The name of a sums file or report directly in the folder. `attempt` distinguishes files of the
/// same second: from 2 on it is a part of the name.
std::string datedName(const std::string& folderName, std::int64_t made, std::string_view suffix,
                      unsigned attempt = 1);

/// The name of an open folder, as a part of files' names: at most 150 bytes, with `_` for a dot at
/// its start, and for control characters, backslashes and U+FFFD to U+FFFF. `root` if there is no
/// name.
std::string nameOfFolder(int folder);

}  // namespace zlk
