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
};

/// Both throw Failure (BadDocument) for what isn't such a document.
std::vector<Device> parseDevices(std::u16string_view xml);
std::vector<FileRecord> parseFileInfo(std::u16string_view xml);

/// Seconds since 1970 UTC of a record's time; -1 for one that says nothing.
std::int64_t secondsOf(std::string_view recordTime);

}  // namespace zlk
