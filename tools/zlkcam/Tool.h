#pragma once
// What every command works with: where its answer goes, and how the program shall end.

#include <string_view>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/JsonWriter.h"

namespace zlk {

class Tool {
  public:
    Tool();

    bool json = false;  ///< one JSON document on standard output, and nothing else there
    JsonWriter answer;  ///< that document
    /// What the program ends with if the command comes to its end.
    ExitStatus status = ExitStatus::Success;

    /// A line of the answer in plain text; nothing with `json`.
    void say(std::string_view line);
    /// A line for the user that isn't part of the answer, on standard error.
    void warn(std::string_view line);

    /// Whether somebody watches standard output.
    bool onTerminal() const { return terminal_; }
    /// Columns of that terminal.
    std::size_t columns() const;

    /// Hands out the answer, or the failure in its place, and gives the final status.
    ExitStatus finish();
    ExitStatus finish(const Failure& failure);

    /// The "error" object of an answer.
    static void writeError(JsonWriter& json, const Failure& failure);

    /// Writes to standard output as it stands; false if nobody takes it any more.
    static bool write(std::string_view text);
    static bool flush();

  private:
    bool terminal_;
};

}  // namespace zlk
