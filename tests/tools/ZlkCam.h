#pragma once
// The command line client as a test's child: to its end, or in the background.

#include <signal.h>

#include <chrono>
#include <source_location>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Json.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

using Words = std::vector<std::string>;
using Where = std::source_location;

/// Runs the client on this test's machine.
ProgramResult zlkcam(const Words& arguments);
/// The same, and fails the test if it ends with another status than this.
ProgramResult expectZlkcam(int status, const Words& arguments, Where where = Where::current());
/// With no more rights to files than their modes give.
ProgramResult withoutPrivileges(const Words& arguments);

/// What it answers with `--json`.
struct JsonAnswer {
    int status;
    Json document;
    std::string error;  ///< standard error
    const Json& operator[](const std::string& name) const { return document[name]; }
};
JsonAnswer json(const Words& arguments);
JsonAnswer expectJson(int status, const Words& arguments, Where where = Where::current());

/// A client that goes on running, with `--json`; killed and reaped by the destructor.
class RunningZlkCam {
  public:
    explicit RunningZlkCam(const Words& arguments);

    void signal(int number) const { ::kill(client_.pid(), number); }
    /// Waits for its end, and fails the test if it has another status than this.
    JsonAnswer expectEnd(int status, Where where = Where::current());
    /// Lets it come to where it waits, stops it there, and fails the test if it hasn't ended a
    /// second later.
    JsonAnswer expectStop(std::chrono::milliseconds after, Where where = Where::current());

  private:
    const Words arguments_;
    fs::path output_;
    ChildProcess client_;
};

}  // namespace zlk::test
