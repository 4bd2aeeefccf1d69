#pragma once
// The wish of the user, or of the system, that the program ends: Ctrl-C, a request to terminate,
// a closed terminal.

namespace zlk {

/// While one lives, those signals only raise the flag, so that work in hand can be put in order;
/// the third one ends the program at once. A closed output, or a file that may grow no further,
/// raises nothing: the write fails. One in a program.
class StopFlag {
  public:
    StopFlag();
    ~StopFlag();
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;

    static bool raised() noexcept;
};

}  // namespace zlk
