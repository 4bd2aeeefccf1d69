#include "tools/zlkcam/unload/Recorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/history/Generation.h"
#include "tools/zlkcam/unload/FileContent.h"

namespace zlk {
namespace {

/// The key under which earlier runs' records are found: name without folder, and size. Letters of
/// ASCII become upper case, because FAT and exFAT don't distinguish the case of names.
std::string takenKey(std::string_view path, std::uint64_t size) {
    std::string key(path.substr(path.find_last_of("/\\") + 1));
    for (char& byte : key)
        if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 'a' + 'A');
    return key + '/' + std::to_string(size);
}

}  // namespace

Recorder::Recorder(Destination& destination, std::u16string device, std::u16string root,
                   const Options& options)
    : destination_(destination),
      device_(std::move(device)),
      root_(std::move(root)),
      options_(options) {
    // A rehearsal may run for a folder that doesn't exist yet; nothing can be known of it.
    if (destination_.isMissing()) return;
    takeOver();
    if (options_.form != RecordForm::None || options_.onlyNew)
        history_ = FolderHistory::read(destination_.folder());
    if (options_.onlyNew) listTaken();
}

std::string Recorder::sourceOf(const FileRecord& record) const {
    return utf8Text(pathBelow(root_, record));
}

void Recorder::takeOver() {
    // The lines of killed runs are copied into this run's journal before their folders are removed,
    // so that they survive if this run is killed, too. A rehearsal keeps the folders.
    RunFolder::sweep(destination_.folder(), [this](int folder) {
        for (const JournalEntry& entry : Journal::read(folder)) takeOver(entry);
        return !options_.isRehearsal;
    });
}

void Recorder::takeOver(const JournalEntry& entry) {
    if (!options_.isRehearsal) addToJournal(entry);
    const auto [first, last] = unfinished_.equal_range(entry.source);
    // A journal has a second line for a copy that was proved or read again. The newer line counts,
    // because it may have a sum that the older one lacks.
    const auto known = std::find_if(
        first, last, [&](const auto& each) { return each.second.entry.file == entry.file; });
    if (known == last)
        unfinished_.emplace(entry.source, UnfinishedCopy{entry});
    else
        known->second.entry = entry;
}

void Recorder::listTaken() {
    for (const HashRecord& record : history_.records())
        // Without size and time a record can't be recognised as one of the device's files.
        if (record.size && record.modified)
            taken_.emplace(
                takenKey(record.source.empty() ? record.path : record.source, *record.size),
                &record);
}

bool Recorder::isThere(const std::string& file, std::uint64_t size) {
    const Descriptor there = destination_.openFile(file);
    struct stat status {};
    return there && ::fstat(there.get(), &status) == 0 &&
           static_cast<std::uint64_t>(status.st_size) == size;
}

bool Recorder::lacksSum(const JournalEntry& entry) const {
    return options_.form == RecordForm::Sums && options_.sha256 && entry.sha256.empty();
}

void Recorder::addSum(JournalEntry& entry) {
    const Descriptor copy = destination_.openFile(entry.file);
    if (!copy) return;
    if (const auto sum = digestOf(copy.get(), DigestKind::Sha256)) entry.sha256 = sum->text();
}

std::optional<KnownCopy> Recorder::find(const FileRecord& record, const std::string& wanted) {
    const std::string source = sourceOf(record);
    SourceState state;
    try {
        state = SourceState::of(record);
    } catch (const Failure&) {
        return std::nullopt;  // the failure is reported when the file is copied
    }
    // A file without a time could be any file of its name, and is copied again.
    if (state.modified < 0) return std::nullopt;
    // A copy of a killed run is preferred, because its sum is known.
    if (auto known = findUnfinished(source, state)) return known;
    if (!options_.onlyNew) return std::nullopt;
    std::string file = destination_.findSame(wanted, state.size, state.modified);
    if (!file.empty()) {
        // The file may also stand in an earlier manifest. Counting it keeps findTaken from using
        // that record for a second file of the device.
        counted_.insert(file);
    } else {
        file = findTaken(source, state);
    }
    if (file.empty()) return std::nullopt;
    // The user may have moved the copy since; with --new it isn't copied again all the same.
    const bool isGone = !isThere(file, state.size);
    return KnownCopy{std::move(file), isGone};
}

std::optional<KnownCopy> Recorder::findUnfinished(const std::string& source,
                                                  const SourceState& state) {
    const auto [first, last] = unfinished_.equal_range(source);
    for (auto each = first; each != last; ++each) {
        UnfinishedCopy& copy = each->second;
        const JournalEntry& entry = copy.entry;
        // isThere also checks the size of the copy, which a power cut may have truncated.
        if (copy.isCounted || entry.size != state.size ||
            !isSameTime(entry.modified, state.modified) || lacksSum(entry) ||
            !isThere(entry.file, entry.size))
            continue;
        copy.isCounted = true;
        return KnownCopy{entry.file, false, entry.sum, entry.sha256};
    }
    return std::nullopt;
}

std::string Recorder::findTaken(const std::string& source, const SourceState& state) {
    const auto [first, last] = taken_.equal_range(takenKey(source, state.size));
    for (auto each = first; each != last; ++each) {
        const HashRecord& record = *each->second;
        if (isSameTime(*record.modified, state.modified) && counted_.insert(record.path).second)
            return record.path;
    }
    return {};
}

void Recorder::note(const UnloadedFile& file, const std::string& placed) {
    addToJournal(
        {sourceOf(*file.record), placed, file.size, file.modified, *file.sum, file.sha256});
}

void Recorder::addToJournal(const JournalEntry& entry) {
    try {
        if (!journal_) {
            journal_.emplace(destination_.runFolder());
            destination_.keepRunFolder(true);
        }
        journal_->add(entry);
    } catch (const Failure&) {
        return;  // without a journal, a killed run would only lose time
    }
}

HashRecord Recorder::recordOf(const JournalEntry& entry) const {
    HashRecord record{.path = entry.file, .size = entry.size, .source = entry.source};
    if (entry.modified >= 0) record.modified = entry.modified;
    record.sums.emplace_back(entry.sum);
    if (const auto sha256 = Digest::parse(DigestKind::Sha256, entry.sha256))
        record.sums.push_back(*sha256);
    // If an earlier record has an XXH128 of the file, the new record says whether the file still
    // has that sum.
    const HashRecord* const before = history_.find(entry.file);
    const Digest* const sum = before ? before->sum(DigestKind::Xxh128) : nullptr;
    if (sum) record.action = *sum == record.sums[0] ? HashAction::Verified : HashAction::Failed;
    return record;
}

std::vector<HashRecord> Recorder::records(const std::vector<UnloadedFile>& files,
                                          std::size_t index) {
    std::vector<HashRecord> records;
    std::unordered_set<std::string> recorded;
    for (const UnloadedFile& file : files) {
        const CopyResult& copy = file.copies[index];
        if ((copy.outcome != Outcome::Copied && copy.outcome != Outcome::WasThere) || !file.sum)
            continue;
        records.push_back(recordOf(
            {sourceOf(*file.record), copy.file, file.size, file.modified, *file.sum, file.sha256}));
        if (!unfinished_.empty()) recorded.insert(copy.file);
    }
    // What killed runs have copied, and this run didn't meet on the device, is recorded now,
    // because the journal is going to be removed.
    for (const auto& [source, copy] : unfinished_) {
        JournalEntry entry = copy.entry;
        if (recorded.contains(entry.file) || !isThere(entry.file, entry.size)) continue;
        if (lacksSum(entry)) addSum(entry);
        if (!lacksSum(entry)) records.push_back(recordOf(entry));
    }
    return records;
}

std::string Recorder::write(const std::vector<UnloadedFile>& files, std::size_t index) {
    std::string manifest;
    if (options_.form != RecordForm::None) {
        const int folder = destination_.folder();
        const Generation generation{.device = utf8Text(device_), .records = records(files, index)};
        manifest = options_.form == RecordForm::MediaHashList
                       ? writeGeneration(folder, generation)
                       : writeSums(folder, generation,
                                   options_.sha256 ? DigestKind::Sha256 : DigestKind::Xxh128);
    }
    // The journal is only given up here: if writing the manifest had failed, the next run would
    // need the journal.
    if (journal_) destination_.keepRunFolder(false);
    return manifest;
}

}  // namespace zlk
