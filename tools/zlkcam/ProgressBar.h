#pragma once
// The bar that shows how far a copy or a check of many files has come: files, bytes, rate and
// remaining time.

#include <cstdint>
#include <string>

#include "platform/types.h"
#include "tools/zlkcam/Tool.h"

namespace zlk {

/// How far one step, such as copying or proving, has come.
struct StepState {
    std::uint64_t done = 0;         ///< bytes
    std::uint64_t rate = 0;         ///< bytes per second; 0 as long as too little is known
    std::uint64_t secondsLeft = 0;  ///< meaningless without a rate
};

/// A line on the terminal that is redrawn in place. If standard output is no terminal, only the
/// lines of report() are printed. In JSON mode nothing is printed. Not thread-safe.
class ProgressBar {
  public:
    /// `files` and `bytes` are how many there are in all. `tool` stays the caller's, and has to
    /// outlive this.
    ProgressBar(Tool& tool, std::size_t files, std::uint64_t bytes);
    /// Erases the bar.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Begins a file; `size` is its size in bytes.
    void startFile(const std::u16string& name, std::uint64_t size);
    /// How much of the current file is done, from 0 to 100.
    void progress(int percent);
    /// Counts the current file as done, also if it failed.
    void endFile();
    /// These are for a second step, which proves what the first one has copied. expectProofs() gets
    /// the bytes to prove in all, and prove() those that were proved since its last call.
    void expectProofs(std::uint64_t bytes) { proofs_ = bytes; }
    void prove(std::uint64_t bytes);
    /// Erases the bar and draws it no more. report() still prints its lines.
    void hide();
    /// Prints what became of a file. The file needn't be the current one. On a terminal only a line
    /// worth keeping is printed, above the bar.
    void report(const std::string& line, bool worthKeeping = false);

    /// The text of the bar `elapsed` milliseconds after the start, cut so that the last of the
    /// terminal's `columns` stays free.
    std::string text(DWORD elapsed, std::size_t columns) const;

    std::size_t filesDone() const { return filesDone_; }
    /// The state of each step `elapsed` milliseconds after the start.
    StepState copied(DWORD elapsed) const;
    StepState proved(DWORD elapsed) const;
    /// Milliseconds since the start.
    DWORD elapsed() const;

  private:
    /// Draws the bar, if it may be shown. Without `always` it isn't drawn again within a tenth of a
    /// second.
    void draw(bool always);
    /// Erases the bar, if it is drawn.
    void wipe();

    Tool& tool_;
    std::size_t files_, filesDone_ = 0;
    std::uint64_t bytes_, bytesDone_ = 0;
    std::uint64_t proofs_ = 0, proved_ = 0;
    // These describe the current file.
    std::uint64_t fileSize_ = 0;
    int percent_ = 0;
    std::string name_;
    // Times of the system's tick count, in milliseconds.
    DWORD start_, lastDrawn_ = 0;
    bool drawn_ = false, hidden_ = false;
};

}  // namespace zlk
