#pragma once
// Answers as a recorded device did, to whoever asks the same in whatever order.

#include <functional>
#include <map>
#include <string>

#include "tools/zlkcamsim/BulkInPipe.h"
#include "tools/zlkcamsim/Recording.h"

namespace zlk::camsim {

class Replay {
  public:
    /// `say` gets a line for each thing that the recording doesn't have.
    Replay(Recording recording, std::function<void(const std::string&)> say)
        : recording_(std::move(recording)), say_(std::move(say)) {}

    const Recording& recording() const { return recording_; }
    static bool isOfTheSession(Code operation);
    /// A command as a text.
    static std::string textOf(const Message& command);

    bool takesData(const Message& command) const;
    /// The next of the recorded answers; of the last one again and again. Null if there is none,
    /// and if the device only opened or closed its session.
    const RecordedAnswer* answerTo(const Message& command);
    /// Lays it out on the pipe, in the transfers in which it was recorded.
    void play(const RecordedAnswer& answer, const Message& command, BulkInPipe& pipe) const;

  private:
    static Recording::Question questionOf(const Message& command);

    Recording recording_;
    std::function<void(const std::string&)> say_;
    std::map<Recording::Question, std::size_t> played_;
};

}  // namespace zlk::camsim
