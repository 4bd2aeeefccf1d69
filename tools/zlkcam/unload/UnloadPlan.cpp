#include "tools/zlkcam/unload/UnloadPlan.h"

#include "tools/zlkcam/unload/Pairs.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {

const KnownCopy* PlannedFile::knownAt(std::size_t destination) const {
    return known.empty() || !known[destination] ? nullptr : &*known[destination];
}

UnloadPlan::UnloadPlan(const std::vector<FileRecord>& records, const FileSelection& selection,
                       Naming naming)
    : naming_(std::move(naming)) {
    unsigned shot = 1;
    for (const std::vector<std::size_t>& pair : pairsOf(records)) {
        const std::size_t before = files_.size();
        for (const std::size_t index : pair) {
            const FileRecord& record = records[index];
            if (!selection.takes(record)) continue;
            files_.push_back({&record, shot});
            bytes_ += record.size;
        }
        if (files_.size() > before) ++shot;
    }
    leftOut_ = records.size() - files_.size();
}

void UnloadPlan::compareWith(std::size_t destination, std::size_t destinations,
                             Recorder& recorder) {
    if (!recorder.knowsAny()) return;
    for (PlannedFile& file : files_) {
        // The files aren't read for this, so a copy is looked for under the name that the listed
        // date gives.
        auto known = recorder.find(*file.record, placeOf(file, std::nullopt));
        if (!known) continue;
        file.known.resize(destinations);
        file.known[destination] = std::move(known);
    }
}

std::string UnloadPlan::placeOf(const PlannedFile& file, std::optional<LocalTime> date) const {
    NameFields fields{pathBelow(naming_.root, *file.record), naming_.camera, file.shot, date};
    // A date in the picture itself is better than the one in the list.
    if (needsDate() && !date) fields.date = listedDate(*file.record);
    return naming_.place.apply(fields);
}

}  // namespace zlk
