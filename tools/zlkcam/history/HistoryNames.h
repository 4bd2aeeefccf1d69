#pragma once
// How the files of a history are called.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/zlkcam/history/Digest.h"

namespace zlk {

inline constexpr std::string_view manifestSuffix = ".mhl";
/// Of a page that tells people of a run.
inline constexpr std::string_view reportSuffix = "html";
inline constexpr char chainName[] = "ascmhl_chain.xml";

/// The number of a generation by its manifest's name, `NNNN_....mhl`; none for another name.
std::optional<std::uint32_t> generationNumber(std::string_view name);
inline constexpr std::uint32_t lastGeneration = 999'999'999;

/// The kind of sums in a file of this name, `..._<date>Z.xxh128` or `.sha256`; none for another
/// name.
std::optional<DigestKind> sumsFileKind(std::string_view name);

/// The date in such a name; empty for one that has none.
std::string_view dateInName(std::string_view name);

std::string manifestName(std::uint32_t number, const std::string& folderName, std::int64_t made);
/// Of a file directly in the folder; `attempt` tells those of one second apart.
std::string datedName(const std::string& folderName, std::int64_t made, std::string_view suffix,
                      unsigned attempt = 1);

/// What an open folder is called, as far as a name of a file can hold it.
std::string nameOfFolder(int folder);

}  // namespace zlk
