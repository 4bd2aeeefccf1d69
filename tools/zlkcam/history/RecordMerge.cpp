#include "tools/zlkcam/history/RecordMerge.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {
namespace {

/// Whether the older record can be about the same bytes: the two records have a kind of sum in
/// common, and their sums of all common kinds are equal. A newer record without sums is that of a
/// damaged file, for which any older record counts.
bool isOfSameFile(const HashRecord& newer, const HashRecord& older) {
    if (newer.sums.empty()) return true;
    bool isShared = false;
    for (const Digest& sum : newer.sums) {
        const Digest* const other = older.sum(sum.kind);
        if (other && *other != sum) return false;
        isShared |= other != nullptr;
    }
    return isShared;
}

/// Takes over what the newer record lacks.
void fillIn(HashRecord& newer, const HashRecord& older) {
    if (!isOfSameFile(newer, older)) return;
    if (!newer.size) newer.size = older.size;
    if (!newer.modified) newer.modified = older.modified;
    if (newer.source.empty() && !older.source.empty()) {
        newer.source = older.source;
        newer.run = older.run;
    }
    for (const Digest& sum : older.sums)
        if (!newer.sum(sum.kind)) newer.sums.push_back(sum);
}

}  // namespace

void RecordMerge::add(RunContent content, std::uint32_t run) {
    // The limit is checked before anything changes, so that a failure adds nothing.
    if (records_.size() + content.records.size() > 2 * mostRecords)
        throw UnusableFile("with it the history tells of too many files");
    for (HashRecord& record : content.records) record.run = run;
    // Renames need the older records under their old paths, so this comes before the merge.
    carryOver(content);
    const auto olderSize = static_cast<std::ptrdiff_t>(records_.size());
    if (records_.empty())
        records_ = std::move(content.records);
    else
        std::ranges::move(content.records, std::back_inserter(records_));
    const auto newer = records_.begin() + olderSize;
    // stable_sort and inplace_merge keep the order of equal paths: the newest record comes last.
    std::ranges::stable_sort(newer, records_.end(), {}, &HashRecord::path);
    std::ranges::inplace_merge(records_, newer, {}, &HashRecord::path);
    // Only the last record of each path is kept. unique keeps the first of equal elements, so it
    // goes backwards.
    const auto kept =
        std::unique(records_.rbegin(), records_.rend(),
                    [](const HashRecord& a, const HashRecord& b) { return a.path == b.path; });
    records_.erase(records_.begin(), kept.base());
}

std::vector<HashRecord> RecordMerge::take() {
    records_.shrink_to_fit();
    return std::move(records_);
}

void RecordMerge::carryOver(RunContent& content) {
    // Two files may have exchanged their names. So the records of all old paths are looked up
    // first, and are removed only after that.
    std::unordered_set<const HashRecord*> renamed;
    std::unordered_set<std::size_t> isRename;
    for (const RunContent::Rename& rename : content.renames) {
        isRename.insert(rename.record);
        const HashRecord* const older = findRecord(records_, rename.previousPath);
        if (older && renamed.insert(older).second) fillIn(content.records[rename.record], *older);
    }
    // All other records continue the record of their own path, unless the file there was renamed.
    for (std::size_t i = 0; i < content.records.size(); ++i) {
        const HashRecord* const older =
            isRename.contains(i) ? nullptr : findRecord(records_, content.records[i].path);
        if (older && !renamed.contains(older)) fillIn(content.records[i], *older);
    }
    // The records to remove are marked by an empty path first: erasing them one by one would move
    // those to which `renamed` still points.
    for (const HashRecord* const record : renamed)
        records_[static_cast<std::size_t>(record - records_.data())].path.clear();
    if (!renamed.empty())
        std::erase_if(records_, [](const HashRecord& record) { return record.path.empty(); });
}

}  // namespace zlk
