#include "tools/zlkcam/unload/Unloader.h"

#include <sys/resource.h>

#include <algorithm>

namespace zlk {
namespace {

/// Ranks failures for the exit status, the least grave first: a file that was too large, one that
/// wasn't deleted, and one that couldn't be read or lacks a copy.
int gravityOf(const UnloadedFile& file) {
    if (!file.trouble()) return 0;
    if (file.reading == Outcome::TooLarge) return 1;
    return file.outcome() == Outcome::Failed ? 3 : 2;
}

/// How many descriptors the files of the run may take. Some are left for everything else.
std::size_t freeDescriptors() {
    constexpr rlim_t others = 64;
    rlimit open{};
    ::getrlimit(RLIMIT_NOFILE, &open);
    return open.rlim_cur > others ? open.rlim_cur - others : 0;
}

/// Limits the batches so that the free descriptors suffice. Each destination may have `files`
/// copies that wait and as many again that are being settled, and each of them is an open file.
BatchLimits limitsFor(std::size_t destinations) {
    BatchLimits limits;
    limits.files = std::clamp<std::size_t>(freeDescriptors() / (2 * destinations), 1, limits.files);
    return limits;
}

/// How many files of the device are opened before their turn; none if descriptors are scarce.
std::size_t filesAhead() {
    constexpr std::size_t most = 8;
    return freeDescriptors() < 64 ? 0 : most;
}

Copier::Settlers settlersOf(std::vector<Target>& targets, bool prove, UnloadProgress& progress) {
    const BatchLimits limits = limitsFor(targets.size());
    Copier::Settlers settlers;
    settlers.reserve(targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i)
        settlers.push_back(std::make_unique<Settler>(*targets[i].destination, *targets[i].recorder,
                                                     i, prove, limits, progress));
    return settlers;
}

}  // namespace

std::vector<const Destination*> destinationsOf(const std::vector<Target>& targets) {
    std::vector<const Destination*> destinations;
    destinations.reserve(targets.size());
    for (const Target& target : targets) destinations.push_back(target.destination.get());
    return destinations;
}

Unloader::Unloader(Tool& tool, const PhotoSession& session, const UnloadPlan& plan,
                   std::vector<Target>& targets, const UnloadOptions& options,
                   const UnloadProgress::Mode& mode)
    : session_(session),
      targets_(targets),
      options_(options),
      files_(plan.files().size()),
      progress_(tool, destinationsOf(targets), {files_.size(), plan.bytes(), options.prove}, mode),
      settlers_(settlersOf(targets, options.prove, progress_)),
      copier_(session, plan, settlers_, options, filesAhead(), progress_) {
    for (std::size_t i = 0; i < files_.size(); ++i) {
        files_[i].record = plan.files()[i].record;
        files_[i].copies.resize(targets.size());
    }
}

/// The bar has to be gone before the summary is written.
void Unloader::copy() {
    copier_.copy(files_);
    progress_.end();
    ending_ = copier_.ending();
}

void Unloader::abandon() {
    copier_.abandon();
    progress_.end();
    ending_ = copier_.ending();
}

/// The StopWatch's thread calls this, too. That call may come when the first thread has recorded
/// the run and hangs in the device.
void Unloader::record() {
    if (isRecorded_) return;
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        Target& target = targets_[i];
        target.failure = settlers_[i]->failure();
        try {
            target.destination->flushNames();
            target.manifest = target.recorder->write(files_, i);
        } catch (const Failure& failure) {
            // If the destination was given up, recording probably fails for the same reason, and
            // the first failure explains it better.
            if (!target.failure) target.failure = failure;
        }
        // Removes the private folders, unless they keep a journal for the next run.
        target.destination->finishRunFolders();
    }
    isRecorded_ = true;
}

void Unloader::remove(const CardSurvey& survey) {
    // Every destination needs its record before the original may go.
    const bool isRecorded = std::ranges::none_of(
        targets_, [](const Target& target) { return target.failure.has_value(); });
    if (ending_ || !isRecorded) return;
    ending_ = Remover(session_, survey, options_).remove(files_);
}

std::optional<Failure> Unloader::gravest() const {
    if (ending_) return ending_;
    for (const Target& target : targets_)
        if (target.failure) return target.failure;
    const auto worst = std::ranges::max_element(files_, {}, gravityOf);
    const Failure* const trouble = worst == files_.end() ? nullptr : worst->trouble();
    return trouble ? std::optional(*trouble) : std::nullopt;
}

}  // namespace zlk
