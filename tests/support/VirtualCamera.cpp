#include "tests/support/VirtualCamera.h"

#include <gtest/gtest.h>

#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

/// The virtual camera ends when its standard input does.
std::vector<std::string> commandOf(std::vector<std::string> options) {
    options.insert(options.begin(), programFolder() / "zlkcamsim");
    options.insert(options.end(), {"--control", "-"});
    return options;
}

}  // namespace

VirtualCamera::VirtualCamera(std::vector<std::string> options)
    : VirtualCamera("program", commandOf(std::move(options))) {
    tell("state");  // it plugs itself in before it listens
}

std::uint32_t VirtualCamera::add(const std::string& options) {
    return static_cast<std::uint32_t>(std::stoul(tell("add " + options), nullptr, 0));
}

std::string VirtualCamera::tell(const std::string& command) {
    program_.say(command);
    const std::string answer = program_.hear();
    const bool good = answer == "ok" || answer.starts_with("ok ");
    EXPECT_TRUE(good) << command << ": " << (answer.empty() ? "no answer" : answer);
    return good && answer.size() > 3 ? answer.substr(3) : std::string();
}

void VirtualCamera::expectNoViolations() {
    EXPECT_EQ(tell("violations clear"), "[]");
}

}  // namespace zlk::test
