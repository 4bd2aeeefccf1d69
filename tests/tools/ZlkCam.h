#pragma once
// The command line client as a test's child: to its end, or in the background.

#include <signal.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Json.h"

namespace zlk::test {

/// Runs the client on this test's machine.
ProgramResult zlkcam(const std::vector<std::string>& arguments);

/// What it answers with `--json`.
struct JsonAnswer {
    int status;
    Json document;
    std::string error;  ///< standard error
    const Json& operator[](const std::string& name) const { return document[name]; }
};
JsonAnswer json(const std::vector<std::string>& arguments);

/// A client that goes on running, with `--json`; killed and reaped by the destructor.
class RunningZlkCam {
  public:
    explicit RunningZlkCam(const std::vector<std::string>& arguments);

    void signal(int number) const { ::kill(client_.pid(), number); }
    JsonAnswer wait();

  private:
    std::filesystem::path output_;
    ChildProcess client_;
};

}  // namespace zlk::test
