#include "tools/zlkcam/Unloader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "tools/zlkcam/MediumReader.h"
#include "tools/zlkcam/ProgressCallback.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

using Outcome = UnloadedFile::Outcome;

// The components' sizes have 32 bits, and a camera says "more than that" with all of them set.
constexpr std::uint64_t largest = 0xFFFFFFFF;
constexpr DWORD blockSize = 1 << 20;

/// Ids of files on a volume are paths, which the platform can be asked about.
bool isPath(std::u16string_view id) {
    return id.starts_with(u"\\\\") || (id.size() > 2 && id[1] == u':' && id[2] == u'\\');
}

UniqueHandle openToRead(const std::u16string& path) {
    return UniqueHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_READONLY, nullptr));
}

/// What a file on the device is like now: true size, and time of its last change.
struct SourceState {
    std::uint64_t size = 0;
    std::int64_t modified = -1;

    explicit SourceState(const FileRecord& record)
        : size(record.size),
          modified(record.modified.isNoDate ? -1 : secondsOf(record.modified.text)) {
        if (!isPath(record.id)) return;
        FileStatus status{};
        if (!fileSize(record.id, size) || !_wstat64i32(record.id.c_str(), status))
            throw Failure(ExitStatus::ReadFailed,
                          "It can't be read any more: " + reasonText() + ".");
        modified = status.st_mtime;
    }
    bool operator==(const SourceState&) const = default;
};

/// Some disks tell only here what they couldn't write, and a name must outlive a power cut only
/// together with the bytes.
void writeThrough(const HiddenFile& part) {
    if (!FlushFileBuffers(part.handle()))
        throw Failure(ExitStatus::FileUnusable,
                      "The copy can't be completed on the disk: " + reasonText() + ".");
}

/// Of nothing that a camera says it has, it delivers nothing to compare.
bool isDelivered(const UnloadedFile& file) {
    return file.size > 0 || isPath(file.record->id);
}

Failure stopped() {
    return {ExitStatus::Stopped, "Stopped. What was copied before is whole."};
}

}  // namespace

Unloader::Unloader(Tool& tool, const PhotoSession& session, std::u16string root,
                   TargetFolder& target, const UnloadOptions& options)
    : tool_(tool), session_(session), root_(std::move(root)), target_(target), options_(options) {}

void Unloader::copy(const std::vector<FileRecord>& records) {
    std::uint64_t bytes = 0;
    for (const FileRecord& record : records) {
        files_.emplace_back().record = &record;
        bytes += record.size;
    }
    ProgressBar bar(tool_, records.size(), bytes);
    for (UnloadedFile& file : files_) {
        if (StopFlag::raised()) ending_ = stopped();
        if (ending_) break;
        bar.startFile(file.record->cameraPath, file.record->size);
        inHand_ = &file;
        try {
            copyFile(file, bar);
        } catch (const Failure& failure) {
            noteFailure(file, failure);
        }
        inHand_ = nullptr;
        bar.endFile();
        if (arrived_ && &arrived_->file == &file) continue;
        awaitName(bar);
        report(file, bar);
    }
    awaitName(bar);
}

void Unloader::abandon() {
    if (arrived_) takeName();
    if (inHand_) noteFailure(*inHand_, stopped());
    ending_ = stopped();
    HiddenFile::removeAll();
}

void Unloader::report(const UnloadedFile& file, ProgressBar& bar) const {
    const std::string from = utf8Text(file.record->cameraPath);
    switch (file.outcome) {
        case Outcome::Copied:
            return bar.report(from + " -> " + utf8Text(file.file));
        case Outcome::WasThere:
        case Outcome::Skipped:
            return bar.report(from + " is there: " + utf8Text(file.file));
        default:
            bar.report(from + " was NOT copied: " + file.failure->what(), true);
    }
}

void Unloader::copyFile(UnloadedFile& file, ProgressBar& bar) {
    const SourceState source(*file.record);
    file.size = source.size;
    file.modified = source.modified;
    if (source.size == largest && !isPath(file.record->id)) {
        file.outcome = Outcome::TooLarge;
        throw Failure(ExitStatus::TooLarge,
                      "It has 4 GiB or more, of which only a part would arrive.",
                      "Copy it with the file manager.");
    }
    if ((source.size & largest) != file.record->size)
        throw Failure(ExitStatus::ReadFailed, "It has changed since it was listed.");

    const std::u16string wanted = target_.fileFor(pathBelow(root_, *file.record), options_.flat);
    if (options_.onlyNew && source.modified >= 0) {
        file.file = target_.findSame(wanted, source.size, source.modified);
        if (!file.file.empty()) {
            file.outcome = Outcome::Skipped;
            return;
        }
    }
    requireReadable(*file.record);
    target_.makeFoldersOf(wanted);
    const std::u16string hidden = target_.hiddenName(wanted);
    // Two files of one name have one hidden name too.
    if (arrived_ && equalIgnoringCase(arrived_->hidden, hidden)) awaitName(bar);
    HiddenFile part(hidden);
    CopySink copy(part);
    fetch(file, copy, {bar, 0, options_.verify ? 50 : 100});
    file.sum = copy.sum();
    if (SourceState(*file.record) != source)
        throw Failure(ExitStatus::ReadFailed, "It changed while it was copied.");
    if (options_.verify) {
        verify(file, {bar, 50, 50});
        file.verified = isDelivered(file);
    }
    awaitName(bar);
    arrived_.emplace(Arrived{file, hidden, std::move(part), {}});
    arrived_->named = std::async(std::launch::async,
                                 [this, &file, wanted] { name(file, arrived_->part, wanted); });
}

void Unloader::awaitName(ProgressBar& bar) {
    if (!arrived_) return;
    const UnloadedFile& file = arrived_->file;
    takeName();
    arrived_.reset();
    report(file, bar);
}

void Unloader::takeName() {
    try {
        arrived_->named.get();
    } catch (const Failure& failure) {
        noteFailure(arrived_->file, failure);
    }
}

void Unloader::name(UnloadedFile& file, HiddenFile& part, const std::u16string& wanted) const {
    writeThrough(part);
    if (options_.prove) prove(file, utf8Text(part.path()));
    const TargetFolder::Placed placed = target_.place(part, wanted);
    if (!placed.wasThere) {
        // Not before: a hidden file that looks old is a leftover. Not all disks let everybody set
        // it, and a copy is one without it.
        const FILETIME time = fileTimeFromUnix(file.modified, 0);
        if (file.modified >= 0) SetFileTime(part.handle(), nullptr, nullptr, &time);
    } else if (options_.prove) {
        // Somebody else's file counts as this copy now.
        file.proved = false;
        if (!flushFile(placed.file))
            file.failure = Failure(ExitStatus::FileUnusable,
                                   "It is there already, as a file that can't be written through "
                                   "to the disk: " +
                                       reasonText() + ".");
        else
            prove(file, utf8Text(finalPath(placed.file.c_str())));
    }
    file.file = placed.file;
    file.outcome = placed.wasThere ? Outcome::WasThere : Outcome::Copied;
}

void Unloader::requireReadable(const FileRecord& record) {
    if (!isPath(record.id)) return;
    const UniqueHandle file = openToRead(record.id);
    // Whoever has it open may close it within the device's patience.
    if (!file && GetLastError() != ERROR_SHARING_VIOLATION)
        throw Failure(ExitStatus::ReadFailed, "It can't be opened: " + reasonText() + ".");
}

void Unloader::fetch(const UnloadedFile& file, CopySink& into, BarShare share) {
    ProgressCallback callback([share](int percent) {
        if (StopFlag::raised()) return false;
        share.bar.progress(share.start + percent * share.size / 100);
        return true;
    });
    if (file.size > largest)
        readByPath(file, into, callback);
    else
        save(file, into, callback);
    // A stopped copy is a success to the components; one that had arrived whole is a success.
    if (into.size() == file.size) return;
    if (StopFlag::raised()) throw stopped();
    throw Failure(ExitStatus::ReadFailed, "Only " + std::to_string(into.size()) + " of " +
                                              std::to_string(file.size) + " bytes arrived.");
}

void Unloader::save(const UnloadedFile& file, CopySink& into, ProgressCallback& progress) {
    const SinkFile name(into);
    const Bstr id(file.record->id), path(name.path());
    const HRESULT result = session_.call([&](IPhotoDevice& device) {
        return device.SaveFileData(id.get(), path.get(), progress.asArgument());
    });
    if (into.error() != ERROR_SUCCESS) throwWriteFailure(into.error());
    if (result != S_OK) throwFetchFailure(session_.errorCode());
}

void Unloader::readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress) {
    const UniqueHandle source = openToRead(file.record->id);
    std::vector<std::byte> block(blockSize);
    for (DWORD read = 1; source && read > 0;) {
        if (!ReadFile(source.get(), block.data(), blockSize, &read, nullptr)) break;
        if (!into.take(std::span(block).first(read))) throwWriteFailure(into.error());
        const auto percent = static_cast<LONG>(into.size() * 100 / file.size);
        if (progress.UpdateProgress(percent) != S_OK || read == 0) return;
    }
    throwFetchFailure(static_cast<LONG>(ExitStatus::ReadFailed));
}

void Unloader::throwWriteFailure(DWORD error) {
    const Failure failure(ExitStatus::FileUnusable,
                          "It can't be written to the disk: " + reasonText(error) + ".",
                          "Make room, or choose another folder, and run it again with --new.");
    // Of others there may be enough room for all.
    if (error != ERROR_FILE_TOO_LARGE) ending_ = failure;
    throw Failure(failure);
}

void Unloader::throwFetchFailure(LONG code) {
    if (!session_.hasMedia()) code = static_cast<LONG>(ExitStatus::NotConnected);
    throw deviceFailure(code, session_.device(), "Reading it");
}

void Unloader::verify(const UnloadedFile& file, BarShare share) {
    // The card's, and not what the system still has of it.
    if (isPath(file.record->id)) forgetContents(utf8Text(finalPath(file.record->id.c_str())));
    CopySink second;
    fetch(file, second, share);
    if (second.sum() != *file.sum)
        throw Failure(ExitStatus::NotVerified, "Reading it twice gave different bytes.",
                      "Clean the contacts of the card, or try another reader.");
}

void Unloader::prove(UnloadedFile& file, const std::string& path) {
    const std::optional<MediumSum> back = sumFromMedium(path);
    if (!back)
        throw Failure(ExitStatus::FileUnusable,
                      std::string("The copy can't be read back from the disk: ") +
                          std::strerror(errno) + ".");
    if (back->sum != *file.sum)
        throw Failure(ExitStatus::NotVerified,
                      "The copy reads back from the disk with other bytes.",
                      "The disk may be failing. Choose another one.");
    file.proved = true;
    file.fromMedium = back->isFromMedium;
}

bool Unloader::mayBeDeleted(const UnloadedFile& file) const {
    return file.proved && isDelivered(file) && (file.verified || !options_.verify);
}

void Unloader::noteFailure(UnloadedFile& file, const Failure& failure) {
    if (file.outcome != Outcome::TooLarge) file.outcome = Outcome::Failed;
    file.verified = file.proved = false;
    file.failure = failure;
    switch (failure.status) {
        case ExitStatus::Stopped:
            ending_ = failure;
            break;
        case ExitStatus::NotConnected:
        case ExitStatus::NotClaimed:
        case ExitStatus::ReadFailed:
            ending_ = session_.endOf(failure);
            break;
        default:
            break;
    }
}

void Unloader::removeProved(const CardSurvey& survey) {
    if (std::ranges::none_of(files_, [this](const auto& file) { return mayBeDeleted(file); }))
        return;
    if (StopFlag::raised()) {
        ending_ = stopped();
        return;
    }
    if (!target_.flushNames()) {
        ending_ = Failure(ExitStatus::FileUnusable,
                          "Nothing was deleted: the folder can't be written through to the disk: " +
                              reasonText() + ".");
        return;
    }
    // A camera may have given a handle to another picture.
    const bool byHandle = !isPath(files_.front().record->id);
    std::unordered_map<std::u16string, FileRecord> listed;
    try {
        if (byHandle)
            for (FileRecord& record : session_.files()) listed[record.id] = record;
    } catch (const Failure& failure) {
        ending_ = failure;
        return;
    }
    for (UnloadedFile& file : files_) {
        if (!mayBeDeleted(file) || survey.isUncertain(file.record->id)) continue;
        if (StopFlag::raised()) {
            ending_ = stopped();
            return;
        }
        try {
            const SourceState now(*file.record);
            const auto record = listed.find(file.record->id);
            const bool isAnother =
                byHandle && (record == listed.end() || record->second != *file.record);
            if (isAnother || now.size != file.size || now.modified != file.modified)
                throw Failure(ExitStatus::DeleteRefused,
                              "It was copied, and has changed on the device since.");
            session_.remove(file.record->id);
            file.deleted = true;
        } catch (const Failure& failure) {
            file.failure = failure;
            if ((ending_ = session_.endOf(failure))) return;
        }
    }
}

std::u16string pathBelow(std::u16string_view root, const FileRecord& record) {
    while (root.ends_with(u'\\')) root.remove_suffix(1);
    const std::u16string_view id = record.id;
    const bool below = !root.empty() && id.size() > root.size() && id[root.size()] == u'\\' &&
                       equalIgnoringCase(id.substr(0, root.size()), root);
    return below ? std::u16string(id.substr(root.size())) : record.cameraPath;
}

}  // namespace zlk
