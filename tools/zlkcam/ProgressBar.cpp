#include "tools/zlkcam/ProgressBar.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "platform/clock.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

constexpr std::size_t barWidth = 20;
constexpr DWORD drawEvery = 100;  // milliseconds; more often would only flicker

std::string timeText(std::uint64_t seconds) {
    std::array<char, 32> text{};
    const auto hours = static_cast<unsigned>(seconds / 3600);
    const auto minutes = static_cast<unsigned>(seconds / 60 % 60);
    const auto rest = static_cast<unsigned>(seconds % 60);
    if (hours)
        std::snprintf(text.data(), text.size(), "%u:%02u:%02u", hours, minutes, rest);
    else
        std::snprintf(text.data(), text.size(), "%u:%02u", minutes, rest);
    return text.data();
}

/// `whole` is how many bytes the step has in all, `elapsed` the milliseconds since the bar's start.
StepState stateOf(std::uint64_t done, std::uint64_t whole, DWORD elapsed) {
    StepState state{done};
    // A rate from the first moments would jump about.
    if (elapsed < 500 || done == 0) return state;
    state.rate = std::max<std::uint64_t>(done * 1000 / elapsed, 1);
    state.secondsLeft = (whole - std::min(done, whole)) / state.rate;
    return state;
}

std::string rateText(const StepState& state) {
    if (state.rate == 0) return {};
    return "  " + sizeText(state.rate) + "/s  " + timeText(state.secondsLeft) + " left";
}

}  // namespace

ProgressBar::ProgressBar(Tool& tool, std::size_t files, std::uint64_t bytes)
    : tool_(tool), files_(files), bytes_(bytes), start_(GetTickCount()) {}

ProgressBar::~ProgressBar() {
    wipe();
}

void ProgressBar::startFile(const std::u16string& name, std::uint64_t size) {
    name_ = harmlessText(utf8Text(name));
    // A line end in a name would break the bar's line.
    std::replace(name_.begin(), name_.end(), '\n', '?');
    fileSize_ = size;
    percent_ = 0;
    draw(true);
}

void ProgressBar::progress(int percent) {
    percent_ = std::clamp(percent, 0, 100);
    draw(false);
}

void ProgressBar::endFile() {
    ++filesDone_;
    bytesDone_ += fileSize_;
    fileSize_ = 0;
    draw(false);
}

void ProgressBar::report(const std::string& line, bool worthKeeping) {
    wipe();
    // On a terminal the bar itself shows that a file went well.
    if (worthKeeping || !tool_.onTerminal()) tool_.say(line);
    draw(false);
}

void ProgressBar::prove(std::uint64_t bytes) {
    proved_ += bytes;
    draw(false);
}

DWORD ProgressBar::elapsed() const {
    return GetTickCount() - start_;
}

StepState ProgressBar::copied(DWORD elapsed) const {
    return stateOf(bytesDone_ + fileSize_ * static_cast<std::uint64_t>(percent_) / 100, bytes_,
                   elapsed);
}

StepState ProgressBar::proved(DWORD elapsed) const {
    return stateOf(proved_, proofs_, elapsed);
}

std::string ProgressBar::text(DWORD elapsed, std::size_t columns) const {
    const StepState copying = copied(elapsed);
    const std::uint64_t whole = std::max<std::uint64_t>(bytes_, 1);
    const auto filled = static_cast<std::size_t>(std::min(copying.done, whole) * barWidth / whole);
    std::string line = "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] " +
                       std::to_string(filesDone_) + "/" + std::to_string(files_) + " files  " +
                       sizeText(copying.done) + " of " + sizeText(bytes_) + rateText(copying);
    if (proofs_ > 0) {
        const StepState proving = proved(elapsed);
        line += "  proved " + sizeText(proving.done) + rateText(proving);
    }
    line += "  " + name_;
    // The line is cut in UTF-16, where each unit counts as one column. A line with wide characters
    // may wrap, which does no harm.
    std::u16string units = wideText(line);
    if (units.size() >= columns) units.resize(columns - 1);
    return utf8Text(units);
}

void ProgressBar::draw(bool always) {
    if (hidden_ || tool_.json || !tool_.onTerminal()) return;
    // A new file is shown at once, and so is a bar that was hidden for a line of text. Other
    // changes aren't shown more often than people can read them.
    const DWORD now = GetTickCount();
    if (!always && drawn_ && now - lastDrawn_ < drawEvery) return;
    lastDrawn_ = now;
    drawn_ = true;
    // \r goes back to the start of the line. \x1b[K then erases the line, so that nothing of a
    // longer old text remains.
    Tool::write("\r\x1b[K" + text(now - start_, tool_.columns()));
    Tool::flush();
}

void ProgressBar::hide() {
    wipe();
    hidden_ = true;
}

void ProgressBar::wipe() {
    if (drawn_) Tool::write("\r\x1b[K");
    drawn_ = false;
}

}  // namespace zlk
