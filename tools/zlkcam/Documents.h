#pragma once
// Parses the XML documents of components and cameras into records, and makes the one that sets a
// camera's clock.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/component.h"

namespace zlk {

/// An entry of a list of devices.
struct Device {
    /// For people; may be empty.
    std::u16string name;
    std::u16string contextId;
    std::u16string progId;
};

/// The time at which a file was changed or created. If the component can't read a date, it may list
/// the time of the listing instead, which differs from list to list.
struct RecordTime {
    std::string text;       ///< MM/DD/YYYY hh:mm:ss, local time
    bool isNoDate = false;  ///< it may be the time of the listing, and then says nothing

    /// Whether both can be the time of the same file.
    bool operator==(const RecordTime& other) const {
        return text == other.text || (isNoDate && other.isNoDate);
    }
};

/// A file of a device, from its list.
struct FileRecord {
    /// Path on a volume, or a camera's handle in digits; names the file in calls to the device.
    std::u16string id;
    /// Path for people, below the device's root.
    std::u16string cameraPath;
    /// In bytes, the lower 32 bits only.
    std::uint64_t size = 0;
    RecordTime modified, created;
    bool operator==(const FileRecord&) const = default;
};

/// Whether the camera lists the file but refuses to describe it. Such a file has a name made from
/// its handle.
bool isRefused(const FileRecord& file);

/// The text by which a person recognises a file: its id, with its path in front if the id is only a
/// handle.
std::string titleOf(const FileRecord& file);

/// An element or an attribute of a camera's diagnostics.
struct NamedText {
    std::u16string name;
    std::u16string text;
};

/// What a camera says about itself in its diagnostics document.
struct Diagnostics {
    std::vector<NamedText> values;  ///< named by their elements, in the document's order
    std::vector<std::vector<NamedText>> failures;  ///< the details of each recorded failure
};

/// The parse functions throw Failure (BadDocument) for a text that isn't a document of their kind.
std::vector<Device> parseDevices(std::u16string_view xml);
/// Takes the document by value to free it early: a long one shouldn't stay in memory beside its
/// records.
std::vector<FileRecord> parseFileInfo(Bstr xml);
Diagnostics parseDiagnostics(std::u16string_view xml);
/// The time of a clock document, in seconds since 1970 UTC. Throws Failure (BadDocument) also for a
/// clock without a valid time.
std::int64_t parseTime(std::u16string_view xml);
/// The clock document for a time in seconds since 1970 UTC.
std::u16string timeDocument(std::int64_t seconds);

/// The time of a record's text in seconds since 1970 UTC; -1 if the text isn't a time.
std::int64_t secondsOf(std::string_view recordTime);

/// Marks the times in `files` that the component may have made up while it listed the files, which
/// it did from `start` to `end` (seconds since 1970 UTC).
void markMissingDates(std::vector<FileRecord>& files, std::int64_t start, std::int64_t end);

}  // namespace zlk
