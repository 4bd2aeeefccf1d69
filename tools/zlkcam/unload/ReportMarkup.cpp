#include "tools/zlkcam/unload/ReportMarkup.h"

#include <array>
#include <cstdio>
#include <functional>
#include <set>

#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/history/DateTime.h"
#include "tools/zlkcam/unload/FileCounts.h"
#include "tools/zlkcam/unload/HtmlText.h"
#include "tools/zlkcam/unload/LocalTime.h"
#include "tools/zlkcam/unload/ReportStyle.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

using Files = std::vector<UnloadedFile>;

/// An element with a text from anywhere. `dir="auto"` keeps a text in a right-to-left script from
/// turning the text around it.
std::string element(const std::string& name, const std::string& kind, std::string_view text) {
    return '<' + name + (kind.empty() ? "" : " class=\"" + kind + '"') + " dir=\"auto\">" +
           htmlText(text) + "</" + name + ">\n";
}

std::string fact(const char* name, std::string_view text) {
    return "<div>" + element("dt", "", name) + element("dd", "", text) + "</div>\n";
}

std::string section(const char* title, const std::string& content) {
    return content.empty() ? ""
                           : "<section>\n" + element("h2", "", title) + content + "</section>\n";
}

template <class... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, numbers...);
    return text.data();
}

/// Local date and time, as in "2026-11-01 10:30:00"; empty for a moment out of range.
std::string localText(std::int64_t seconds) {
    const std::optional<LocalTime> time = localTimeOf(seconds);
    return time ? formatted("%04d-%02d-%02d %02d:%02d:%02d", time->year, time->month, time->day,
                            time->hour, time->minute, time->second)
                : "";
}

std::string durationText(DWORD milliseconds) {
    const unsigned seconds = milliseconds / 1000;
    if (seconds < 60) return formatted("%u.%u s", seconds, milliseconds / 100 % 10);
    if (seconds < 3600) return formatted("%u min %02u s", seconds / 60, seconds % 60);
    return formatted("%u h %02u min", seconds / 3600, seconds / 60 % 60);
}

std::string countText(std::size_t files, std::uint64_t bytes) {
    return filesText(files) + ", " + sizeText(bytes);
}

/// The path on the device, written like the paths of copies, so that the two can be compared.
std::string devicePath(const FileRecord& record) {
    std::string path = utf8Text(record.cameraPath);
    std::ranges::replace(path, '\\', '/');
    return path.starts_with('/') ? path.substr(1) : path;
}

/// What stands in for a picture that has no thumbnail: the extension of its name, unless that is
/// too long.
std::string boxOf(std::u16string_view name) {
    constexpr std::size_t longest = 6;
    std::u16string_view extension = name.substr(extensionOf(name));
    if (!extension.empty()) extension.remove_prefix(1);
    const bool isKind = !extension.empty() && extension.size() <= longest;
    return element("div", "box", isKind ? utf8Text(upperCase(extension)) : "");
}

std::string proofsOf(const UnloadedFile& file) {
    std::string proofs;
    if (file.isProved())
        proofs += element("span", "proof", file.isFromMedium() ? "proved on disk" : "proved");
    if (file.verified) proofs += element("span", "proof", "read twice");
    return proofs;
}

std::string sumsOf(const UnloadedFile& file) {
    std::string sums;
    if (file.sum && file.wasRead) sums += element("p", "sum", "XXH128 " + sumText(*file.sum));
    if (!file.sha256.empty()) sums += element("p", "sum", "SHA-256 " + file.sha256);
    return sums;
}

}  // namespace

bool isAmiss(const UnloadedFile& file) {
    return file.trouble() || file.outcome() == Outcome::NotReached;
}

std::string ReportMarkup::head(DWORD milliseconds) const {
    const std::string title = "Unloading of " + utf8Text(device_.name);
    return "<!DOCTYPE html>\n"
           "<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n"
           "<meta charset=\"utf-8\"/>\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
           // Even if the escaping had a hole, this policy would keep the page from loading anything
           // or running a script.
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src "
           "data:; style-src 'unsafe-inline'\"/>\n"
           "<title>" +
           htmlText(title) + "</title>\n<style>\n" + reportStyle + "</style>\n</head>\n<body>\n" +
           "<header>\n" + element("h1", "", title) + verdict() + "</header>\n" +
           section("What went wrong", troubles()) + facts(milliseconds) +
           section("Folders", destinations()) + "<main>\n";
}

std::string ReportMarkup::verdict() const {
    const Files& files = unloader_.files();
    const std::size_t amiss = countOf(files, isAmiss);
    // The worst comes first, so that nobody reads "copied" above a failure.
    if (amiss)
        return element("p", "verdict bad",
                       std::to_string(amiss) + " of " + filesText(files.size()) + " not copied" +
                           (targets_.size() > 1 ? " to every folder" : "") + ". These come first.");
    if (!troubles().empty())
        return element("p", "verdict bad", "Every file was copied, and not all went well.");
    if (files.empty()) return element("p", "verdict good", "There was nothing to copy.");
    const bool isCopied = countOf(files, Outcome::Copied) == files.size();
    const bool isProved = countOf(files, &UnloadedFile::isProved) == files.size();
    return element("p", "verdict good",
                   std::string(plan_.leftOut() ? "Every chosen file" : "Every file") +
                       (isCopied ? " was copied" : " was copied or had been there before") +
                       (isProved ? ", and was read back and compared." : "."));
}

std::string ReportMarkup::facts(DWORD milliseconds) const {
    const Files& files = unloader_.files();
    const auto isCopied = [](const auto& file) { return file.outcome() == Outcome::Copied; };
    const auto always = [](const auto&) { return true; };
    // The zone is cut off, because the name of the fact has it.
    std::string utc = dateTimeText(begun_).substr(0, 19);
    std::ranges::replace(utc, 'T', ' ');
    std::string text =
        fact("Device", utf8Text(device_.contextId)) + fact("Begun", localText(begun_)) +
        fact("Begun, in UTC", utc) + fact("Took", durationText(milliseconds)) +
        fact("Files", countText(files.size(), bytesOf(files, always))) +
        fact("Copied", countText(countOf(files, isCopied), bytesOf(files, isCopied)));
    const auto note = [&](const char* name, std::size_t count) {
        if (count) text += fact(name, filesText(count));
    };
    note("There before", countOf(files, Outcome::WasThere) + countOf(files, Outcome::Skipped));
    note("Not chosen", plan_.leftOut());
    note("Hidden, not copied", survey_.hiddenFiles());
    const std::size_t proved = countOf(files, &UnloadedFile::isProved);
    const std::size_t fromMedium = countOf(files, &UnloadedFile::isFromMedium);
    text += fact("Read back and compared",
                 proved ? countText(proved, bytesOf(files, &UnloadedFile::isProved)) : "no");
    if (proved)
        text += fact("Of these from the medium",
                     fromMedium == proved ? "all" : std::to_string(fromMedium));
    note("Read twice from the device", countOf(files, &UnloadedFile::verified));
    return "<dl>\n" + text + "</dl>\n";
}

std::string ReportMarkup::troubles() const {
    std::string items;
    const auto add = [&](const std::string& text) { items += element("li", "", text); };
    if (unloader_.ending()) add(unloader_.ending()->what());
    for (const Target& target : targets_)
        if (target.failure)
            add(target.destination->shown("") + " failed: " + target.failure->what());
    for (const CardSurvey::UnreadFolder& folder : survey_.unread()) add(folder.text());
    return items.empty() ? "" : "<ul class=\"reasons\">\n" + items + "</ul>\n";
}

std::string ReportMarkup::destinations() const {
    std::string rows;
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        const Target& target = targets_[i];
        const auto isThere = [&](const UnloadedFile& file) {
            return file.copies[i].outcome <= Outcome::Copied && !file.copies[i].isGone;
        };
        const std::size_t there = countOf(unloader_.files(), isThere);
        rows += "<li>\n" + element("p", "folder", target.destination->shown("")) +
                element("p", "",
                        "Has " + std::to_string(there) + " of " +
                            filesText(unloader_.files().size()) + ".") +
                element("p", "",
                        target.manifest.empty() ? "Nothing is recorded there."
                                                : "Recorded in " + target.manifest) +
                "</li>\n";
    }
    return "<ul class=\"folders\">\n" + rows + "</ul>\n";
}

std::string ReportMarkup::placesOf(const UnloadedFile& file) const {
    // All copies may have the same place below their folders; the set shows it once.
    std::set<std::string> places;
    for (const CopyResult& copy : file.copies)
        if (!copy.file.empty()) places.insert(copy.file);
    std::string text;
    for (const std::string& place : places) text += element("p", "place", place);
    const std::string source = devicePath(*file.record);
    // The path on the device is only shown if no copy has that path, too.
    if (!places.contains(source)) text += element("p", "place", "on the device: " + source);
    return text;
}

std::string ReportMarkup::reasonsOf(const UnloadedFile& file) const {
    std::string reasons;
    if (file.failure) reasons += element("p", "reason", file.failure->what());
    for (std::size_t i = 0; i < file.copies.size(); ++i) {
        const CopyResult& copy = file.copies[i];
        const std::string folder = targets_[i].destination->shown("");
        // If no folder has the file, the last line below says so for all.
        if (copy.failure)
            reasons += element("p", "reason", folder + ": " + copy.failure->what());
        else if (copy.outcome == Outcome::NotReached && file.isAnywhere())
            reasons += element("p", "reason", folder + ": it isn't there.");
        if (copy.isGone)
            reasons += element("p", "note", folder + ": it isn't there any more, and was before.");
    }
    if (!file.isAnywhere()) reasons += element("p", "reason", "It is on the device only.");
    return reasons;
}

std::string ReportMarkup::file(const UnloadedFile& file, const std::string& thumbnail) const {
    const std::u16string_view name = fileNameIn(file.record->cameraPath);
    const std::string date = file.modified < 0 ? "" : localText(file.modified);
    return std::string("<figure") + (isAmiss(file) ? " class=\"amiss\"" : "") + ">\n" +
           (thumbnail.empty() ? boxOf(name)
                              : "<img alt=\"\" src=\"" + jpegAddress(thumbnail) + "\"/>\n") +
           "<figcaption>\n" + element("p", "name", utf8Text(name)) + placesOf(file) +
           element("p", "", sizeText(file.knownSize()) + (date.empty() ? "" : " \u00B7 " + date)) +
           "<p class=\"marks\">" + element("span", "outcome", outcomeName(file.outcome())) +
           proofsOf(file) + "</p>\n" + reasonsOf(file) + sumsOf(file) +
           "</figcaption>\n</figure>\n";
}

std::string ReportMarkup::foot(std::optional<std::size_t> thumbnails) const {
    std::string text = "</main>\n<footer>\n";
    if (thumbnails)
        text += element("p", "",
                        "Only the first " + std::to_string(*thumbnails) +
                            " pictures are shown, so that a browser can open this page.");
    text += element("p", "",
                    "Times of files are in the time zone of the computer. Written by zlkcam before "
                    "anything was deleted from the device.");
    return text + "</footer>\n</body>\n</html>\n";
}

}  // namespace zlk
