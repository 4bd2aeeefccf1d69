#include "tools/zlkcam/history/HistoryNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "platform/text.h"
#include "tools/zlkcam/history/DateTime.h"
#include "tools/zlkcam/history/FolderHistory.h"
#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {
namespace {

// Bytes of a folder's name within a file's name, which may have 255; the rest is for number, date,
// suffix and a hidden prefix.
constexpr std::size_t longestFolderName = 150;

bool isReportName(std::string_view name) {
    return !name.starts_with('.') && !dateInName(name).empty() &&
           name.substr(name.rfind('.') + 1) == reportSuffix;
}

/// The name without its suffix, and without the number that distinguishes files of the same second,
/// as the `-2` in `..._083000Z-2.html`.
std::string_view stemOf(std::string_view name) {
    std::string_view stem = name.substr(0, name.rfind('.'));
    const std::size_t lastDigit = stem.find_last_not_of("0123456789");
    if (lastDigit != stem.npos && lastDigit + 1 < stem.size() && stem[lastDigit] == '-' &&
        lastDigit > 0 && stem[lastDigit - 1] == 'Z')
        stem = stem.substr(0, lastDigit);
    return stem;
}

}  // namespace

std::optional<std::uint32_t> generationNumber(std::string_view name) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool isNumbered = error == std::errc() && end != name.data() + name.size() &&
                            *end == '_' && number <= lastGeneration;
    if (!isNumbered || !name.ends_with(manifestSuffix)) return std::nullopt;
    return number;
}

std::optional<DigestKind> sumsFileKind(std::string_view name) {
    if (name.starts_with('.') || dateInName(name).empty()) return std::nullopt;
    if (name.ends_with(".xxh128")) return DigestKind::Xxh128;
    if (name.ends_with(".sha256")) return DigestKind::Sha256;
    return std::nullopt;
}

std::string_view dateInName(std::string_view name) {
    const std::string_view stem = stemOf(name);
    if (stem.size() <= nameTimeSize || stem[stem.size() - nameTimeSize - 1] != '_') return {};
    const std::string_view date = stem.substr(stem.size() - nameTimeSize);
    return isNameTime(date) ? date : std::string_view();
}

std::string manifestName(std::uint32_t number, const std::string& folderName, std::int64_t made) {
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%04u", number);
    return std::string(digits.data()) + '_' + folderName + '_' + nameTimeText(made) +
           std::string(manifestSuffix);
}

std::string datedName(const std::string& folderName, std::int64_t made, std::string_view suffix,
                      unsigned attempt) {
    return folderName + '_' + nameTimeText(made) +
           (attempt == 1 ? "" : '-' + std::to_string(attempt)) + '.' + std::string(suffix);
}

std::string nameOfFolder(int folder) {
    std::error_code none;
    // The folder may have been renamed since it was opened; the kernel knows its present name.
    const auto path =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), none);
    std::u16string name = wideText(path.filename().string());
    for (WCHAR& unit : name)
        // Control characters, backslashes, U+FFFD, and U+FFFE and U+FFFF, which XML excludes.
        if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == u'\\' || unit >= 0xFFFD)
            unit = u'_';
    if (name.starts_with(u'.')) name.front() = u'_';
    while (utf8Text(name).size() > longestFolderName) name.pop_back();
    // Removing the last unit may have left half of a surrogate pair.
    if (!name.empty() && (name.back() & 0xFC00) == 0xD800) name.pop_back();
    return name.empty() ? "root" : utf8Text(name);
}

bool isHistoryName(std::string_view name) {
    return equalIgnoringCase(wideText(name), wideText(historyFolder)) || sumsFileKind(name) ||
           isReportName(name);
}

}  // namespace zlk
