#include "tools/zlkcam/history/RunContent.h"

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {

void RunContent::add(HashRecord record) {
    if (!isRecordedPath(record.path))
        throw UnusableFile("a path in it leads out of the folder, or isn't UTF-8: " +
                           record.path.substr(0, 200));
    if (records.size() == mostRecords)
        throw UnusableFile("it tells of more than " + std::to_string(mostRecords) + " files");
    records.push_back(std::move(record));
}

}  // namespace zlk
