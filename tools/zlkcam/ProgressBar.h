#pragma once
// How far a copy of many files has come: files, bytes, rate and time left.

#include <cstdint>
#include <string>

#include "platform/types.h"
#include "tools/zlkcam/Tool.h"

namespace zlk {

/// How far a step has come.
struct StepState {
    std::uint64_t done = 0;         ///< bytes
    std::uint64_t rate = 0;         ///< bytes a second; 0 as long as nothing can be said
    std::uint64_t secondsLeft = 0;  ///< of no meaning without a rate
};

/// Draws one line that it replaces, on a terminal only; elsewhere a line for each file that is
/// done stands for it. Nothing with `json`.
class ProgressBar {
  public:
    ProgressBar(Tool& tool, std::size_t files, std::uint64_t bytes);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void startFile(const std::u16string& name, std::uint64_t size);
    void progress(int percent);
    void endFile();
    /// Bytes that a second step, which proves what the first one has copied, has in all, and has
    /// done meanwhile.
    void expectProofs(std::uint64_t bytes) { proofs_ = bytes; }
    void prove(std::uint64_t bytes);
    /// Draws nothing from now on; what is reported as worth keeping is still told.
    void hide();
    /// How a file went, now or later; on a terminal only a line worth keeping stays, above the bar.
    void report(const std::string& line, bool worthKeeping = false);

    /// The bar of a moment `elapsed` milliseconds after the start.
    std::string text(DWORD elapsed, std::size_t columns) const;

    std::size_t filesDone() const { return filesDone_; }
    /// Of both steps at such a moment.
    StepState copied(DWORD elapsed) const;
    StepState proved(DWORD elapsed) const;
    DWORD elapsed() const;

  private:
    void draw(bool always);
    void wipe();

    Tool& tool_;
    std::size_t files_, filesDone_ = 0;
    std::uint64_t bytes_, bytesDone_ = 0;
    std::uint64_t proofs_ = 0, proved_ = 0;
    std::uint64_t fileSize_ = 0;
    int percent_ = 0;
    std::string name_;
    DWORD start_, lastDrawn_ = 0;
    bool drawn_ = false, hidden_ = false;
};

}  // namespace zlk
