#pragma once
// A virtual camera in a process of its own, plugged into this test's machine.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

namespace zlk::test {

class VirtualCamera {
  public:
    /// Starts `zlkcamsim` with these options; returns when it is plugged in, unless they say
    /// `--unplugged`. Fails the test if it doesn't start.
    explicit VirtualCamera(std::vector<std::string> options);

    /// The handle of a new object, with the options of the command `add`.
    std::uint32_t add(const std::string& options);
    /// One command of its control channel: what follows `ok`. Fails the test for an error.
    std::string tell(const std::string& command);
    /// Fails the test if the host has broken a rule since the start or the last call.
    void expectNoViolations();
    /// SIGKILL: a camera, its host included, that is simply gone.
    void kill() { program_.kill(); }

  protected:
    /// A registered child that becomes another program with this control channel.
    VirtualCamera(const std::string& child, const std::vector<std::string>& arguments)
        : program_(child, arguments) {}

    ChildProcess program_;
};

}  // namespace zlk::test
