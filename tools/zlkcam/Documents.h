#pragma once
// The documents that the components hand out, as records.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zlk {

struct Device {
    std::u16string name;
    std::u16string contextId;
    std::u16string progId;
};

struct FileRecord {
    std::u16string id;
    std::u16string cameraPath;
    std::uint64_t size = 0;
    std::string modified;  ///< MM/DD/YYYY hh:mm:ss, local time
    std::string created;
    bool operator==(const FileRecord&) const = default;
};

/// Whether the camera lists it and refuses to describe it: it has a name made of its handle.
bool isRefused(const FileRecord& file);

/// What tells a person the file: its id, and before one that is a mere handle its path.
std::string titleOf(const FileRecord& file);

struct NamedText {
    std::u16string name;
    std::u16string text;
};

/// What a camera tells of itself.
struct Diagnostics {
    std::vector<NamedText> values;                 ///< by their elements' names, in its order
    std::vector<std::vector<NamedText>> failures;  ///< of each recorded one its details
};

/// All throw Failure (BadDocument) for what isn't such a document.
std::vector<Device> parseDevices(std::u16string_view xml);
std::vector<FileRecord> parseFileInfo(std::u16string_view xml);
Diagnostics parseDiagnostics(std::u16string_view xml);
/// Seconds since 1970 UTC.
std::int64_t parseTime(std::u16string_view xml);
/// The document that reads back as this time.
std::u16string timeDocument(std::int64_t seconds);

/// Seconds since 1970 UTC of a record's time; -1 for one that says nothing.
std::int64_t secondsOf(std::string_view recordTime);

}  // namespace zlk
