#include "tools/zlkcam/unload/Remover.h"

#include <algorithm>

#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/unload/Copier.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {

Remover::Remover(const PhotoSession& session, const CardSurvey& survey,
                 const UnloadOptions& options)
    : session_(session), survey_(survey), options_(options) {}

/// All copies have to be proved. The original has to have been read in this run, and verified if
/// that was wished. Its bytes have to be really delivered, and its folder read to its end.
bool Remover::mayBeDeleted(const UnloadedFile& file) const {
    return file.isProved() && file.wasRead && isDelivered(*file.record, file.size) &&
           (file.verified || !options_.verify) && !survey_.isUncertain(file.record->id);
}

void Remover::requireUnchanged(const UnloadedFile& file, const Listed* listed) const {
    const SourceState now = SourceState::of(*file.record);
    bool isSame = now.size == file.size && now.modified == file.modified;
    // On a camera the whole entry is compared: its handle may belong to another picture by now.
    if (listed) {
        const auto record = listed->find(file.record->id);
        isSame = isSame && record != listed->end() && record->second == *file.record;
    }
    if (!isSame)
        throw Failure(ExitStatus::DeleteRefused,
                      "It was copied, and has changed on the device since.");
}

std::optional<Failure> Remover::remove(std::vector<UnloadedFile>& files) const {
    const auto first =
        std::ranges::find_if(files, [this](const auto& file) { return mayBeDeleted(file); });
    if (first == files.end()) return std::nullopt;
    if (StopFlag::raised()) return stoppedUnloading();
    // Ids of a volume are paths. A camera's ids are handles, which it may have reused for other
    // pictures meanwhile, so its list is read again and compared.
    const bool byHandle = !isOnVolume(*first->record);
    Listed listed;
    try {
        if (byHandle)
            for (FileRecord& record : session_.files()) listed[record.id] = record;
    } catch (const Failure& failure) {
        return failure;
    }
    for (auto file = first; file != files.end(); ++file) {
        if (!mayBeDeleted(*file)) continue;
        if (StopFlag::raised()) return stoppedUnloading();
        try {
            requireUnchanged(*file, byHandle ? &listed : nullptr);
            session_.remove(file->record->id);
            file->deleted = true;
        } catch (const Failure& failure) {
            file->failure = std::make_unique<const Failure>(failure);
            // If a file can't be deleted, the others are still tried, unless the device is gone or
            // was let go.
            if (auto end = session_.endOf(failure)) return end;
        }
    }
    return std::nullopt;
}

}  // namespace zlk
