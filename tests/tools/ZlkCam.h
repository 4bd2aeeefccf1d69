#pragma once
// The command line client as a test's child: to its end, or in the background.

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Json.h"

namespace zlk::test {

/// Runs the client on this test's machine.
ProgramResult zlkcam(std::vector<std::string> arguments);

/// A client that goes on running; killed and reaped by the destructor.
class RunningZlkCam {
  public:
    explicit RunningZlkCam(std::vector<std::string> arguments);
    ~RunningZlkCam();
    RunningZlkCam(const RunningZlkCam&) = delete;
    RunningZlkCam& operator=(const RunningZlkCam&) = delete;

    void signal(int number) const;
    /// Its end; standard output only.
    ProgramResult wait();

  private:
    pid_t pid_ = -1;
    std::filesystem::path output_;
};

}  // namespace zlk::test
