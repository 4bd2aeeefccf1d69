#pragma once
// What every command works with: the output of its answer, and the exit status of the program.

#include <string_view>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/JsonWriter.h"

namespace zlk {

/// Prints the answer of a command, in words or as JSON. A program has one. Used by one thread at a
/// time.
class Tool {
  public:
    Tool();

    bool json = false;  ///< the answer is a JSON document, and say() prints nothing
    JsonWriter answer;  ///< builds the JSON document
    /// The exit status if the command ends without an exception.
    ExitStatus status = ExitStatus::Success;

    /// Prints a line of the answer as plain text; does nothing in JSON mode.
    void say(std::string_view line);
    /// Prints a line for the user, which isn't part of the answer, on standard error.
    void warn(std::string_view line);

    /// Whether standard output is a terminal.
    bool onTerminal() const { return terminal_; }
    /// The terminal's number of columns; 80 if it isn't known or is below 20.
    std::size_t columns() const;

    /// Prints the document in JSON mode, and returns the final exit status, which is FileUnusable
    /// if a successful command's answer couldn't be written.
    ExitStatus finish();
    /// Like finish(), with a failure in the place of the answer. The failure is also printed on
    /// standard error.
    ExitStatus finish(const Failure& failure);

    /// Writes the value of an answer's "error" member.
    static void writeError(JsonWriter& json, const Failure& failure);

    /// Writes to standard output; false if the output can't be written any more.
    static bool write(std::string_view text);
    static bool flush();

  private:
    bool terminal_;
};

}  // namespace zlk
