#pragma once
// The documents that the components hand out, as records.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/component.h"

namespace zlk {

struct Device {
    std::u16string name;
    std::u16string contextId;
    std::u16string progId;
};

/// When a file was changed or made. A camera's file whose date can't be read is listed with the
/// time of the listing, which is another one each time.
struct RecordTime {
    std::string text;       ///< MM/DD/YYYY hh:mm:ss, local time
    bool isNoDate = false;  ///< it may be that time, and says nothing

    /// Whether both can be times of one file.
    bool operator==(const RecordTime& other) const {
        return text == other.text || (isNoDate && other.isNoDate);
    }
};

struct FileRecord {
    std::u16string id;
    std::u16string cameraPath;
    std::uint64_t size = 0;
    RecordTime modified, created;
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
/// Takes the document, since a long one shouldn't lie in memory beside what is made of it.
std::vector<FileRecord> parseFileInfo(Bstr xml);
Diagnostics parseDiagnostics(std::u16string_view xml);
/// Seconds since 1970 UTC.
std::int64_t parseTime(std::u16string_view xml);
/// The document that reads back as this time.
std::u16string timeDocument(std::int64_t seconds);

/// Seconds since 1970 UTC of a record's time as text; -1 for one that says nothing.
std::int64_t secondsOf(std::string_view recordTime);

/// Marks the times that a listing, from one second to another, may have made up.
void markMissingDates(std::vector<FileRecord>& files, std::int64_t start, std::int64_t end);

}  // namespace zlk
