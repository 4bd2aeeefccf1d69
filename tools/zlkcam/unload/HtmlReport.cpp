#include "tools/zlkcam/unload/HtmlReport.h"

#include "tools/zlkcam/history/HistoryNames.h"

namespace zlk {

HtmlReport::HtmlReport(const PhotoSession& session, const UnloadPlan& plan,
                       const CardSurvey& survey, const Unloader& unloader,
                       std::vector<Target>& targets)
    : unloader_(unloader),
      targets_(targets),
      markup_(session.device(), plan, survey, unloader, targets),
      thumbnails_(session) {}

void HtmlReport::write() {
    // Another thread may have got stuck in the device after it wrote a part of the pages. This call
    // writes the rest.
    if (isWritten_) return;
    if (pages_.empty()) begin();
    writeFiles();
    write(markup_.foot(thumbnails_.isCut() ? std::optional(thumbnails_.made()) : std::nullopt));
    finish();
}

template <class Work>
void HtmlReport::onPage(std::size_t index, Work work) {
    try {
        work();
    } catch (const Failure& failure) {
        pages_[index].reset();
        if (!targets_[index].failure) targets_[index].failure = failure;
    }
}

void HtmlReport::begin() {
    pages_.resize(targets_.size());
    for (std::size_t i = 0; i < targets_.size(); ++i)
        onPage(i, [&] {
            // The date in the name is that of the run; takeDatedName adds a number if the name
            // is taken.
            const int folder = targets_[i].destination->folder();
            pages_[i] = std::make_unique<NewFile>(
                folder, datedName(nameOfFolder(folder), markup_.begun(), reportSuffix));
        });
    write(markup_.head(GetTickCount() - start_));
}

void HtmlReport::write(std::string_view text) {
    for (std::size_t i = 0; i < pages_.size(); ++i)
        if (pages_[i]) onPage(i, [&] { pages_[i]->write(text); });
}

void HtmlReport::writeFiles() {
    const std::vector<UnloadedFile>& files = unloader_.files();
    // The files are walked twice: first those that went wrong, then the others. `looks_` counts
    // both walks, so that another thread can go on in the middle.
    while (looks_ < 2 * files.size()) {
        const UnloadedFile& file = files[looks_ % files.size()];
        const bool isDue = isAmiss(file) == (looks_ < files.size());
        // The device isn't asked for the thumbnail of a file that it couldn't give: that would
        // wait, or fail, again.
        const bool isShown = isDue && file.reading == Outcome::NotReached && !unloader_.ending();
        const std::string thumbnail = isShown ? thumbnails_.of(*file.record) : std::string();
        // The count goes up before the file is written, so that a thread that takes over doesn't
        // write it twice.
        ++looks_;
        if (isDue) write(markup_.file(file, thumbnail));
    }
}

void HtmlReport::finish() {
    for (std::size_t i = 0; i < pages_.size(); ++i)
        if (pages_[i])
            onPage(i, [&] {
                pages_[i]->finish();
                targets_[i].report = pages_[i]->takeDatedName(markup_.begun(), reportSuffix);
            });
    isWritten_ = true;
}

}  // namespace zlk
