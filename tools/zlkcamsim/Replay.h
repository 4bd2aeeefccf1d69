#pragma once
// Answers recorded commands as the recorded device did, in whatever order they come. Whether this
// host has a session open is left to the virtual camera.

#include <functional>
#include <map>
#include <string>

#include "tools/zlkcamsim/BulkInPipe.h"
#include "tools/zlkcamsim/Recording.h"

namespace zlk::camsim {

/// Used on the thread of the event loop only.
class Replay {
  public:
    /// `say` gets a line when the recording lacks something that is to be played.
    Replay(Recording recording, std::function<void(const std::string&)> say)
        : recording_(std::move(recording)), say_(std::move(say)) {}

    const Recording& recording() const { return recording_; }
    /// Whether the operation is OpenSession or CloseSession.
    static bool isOfTheSession(Code operation);
    /// A command in words, for messages.
    static std::string textOf(const Message& command);

    /// Whether a data phase from the host follows the command.
    bool takesData(const Message& command) const;
    /// The recorded answer to a command. A command that comes several times gets its recorded
    /// answers in their order, and from then on the last one. Null if the recording has no answer
    /// to the command. Also null if the command opens or closes the session and the recorded answer
    /// only said whether a session was open. The answer stays this object's.
    const RecordedAnswer* answerTo(const Message& command);
    /// Appends the answer to the pipe's script, in the transfers in which it was recorded.
    void play(const RecordedAnswer& answer, const Message& command, BulkInPipe& pipe) const;

  private:
    static Recording::Question questionOf(const Message& command);

    Recording recording_;
    std::function<void(const std::string&)> say_;
    // How often each recorded question has come.
    std::map<Recording::Question, std::size_t> played_;
};

}  // namespace zlk::camsim
