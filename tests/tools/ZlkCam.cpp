#include "tests/tools/ZlkCam.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

namespace zlk::test {
namespace {

/// The client's command line, with words after those of the test.
Words commandOf(Words arguments, std::initializer_list<std::string> more = {}) {
    arguments.insert(arguments.begin(), programFolder() / "zlkcam");
    arguments.insert(arguments.end(), more);
    return arguments;
}

/// A shell that becomes the client, which writes its output into a file.
Words writingInto(const fs::path& output, const Words& arguments) {
    Words command = commandOf(arguments, {"--json"});
    command.insert(command.begin(), {"/bin/sh", "-c", "exec \"$@\" >\"$0\" 2>/dev/null", output});
    return command;
}

/// An error says in JSON, too, with which status the client ends. A document that isn't whole and
/// a question that nobody answered may be told without an error.
JsonAnswer answerOf(int status, const std::string& output, const std::string& error) {
    const Json document = Json::parse(output);
    const std::string told = document["error"]["status"].text;
    const bool mayBeSilent = status == 0 || status == 15 || status == 17;
    EXPECT_TRUE(told == std::to_string(status) || (mayBeSilent && told.empty())) << output;
    return {status, document, error};
}

template <class Result>
Result expectStatus(int status, const Words& arguments, Result result, const Where& where) {
    if (result.status != status)
        ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
            << testing::PrintToString(arguments) << " ended with status " << result.status
            << " instead of " << status << ": " << result.error;
    return result;
}

}  // namespace

ProgramResult zlkcam(const Words& arguments) {
    return runProgram(commandOf(arguments));
}

ProgramResult expectZlkcam(int status, const Words& arguments, Where where) {
    return expectStatus(status, arguments, zlkcam(arguments), where);
}

ProgramResult withoutPrivileges(const Words& arguments) {
    Words command = commandOf(arguments);
    if (::geteuid() == 0)
        command.insert(command.begin(),
                       {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
    return runProgram(command);
}

JsonAnswer json(const Words& arguments) {
    const ProgramResult result = runProgram(commandOf(arguments, {"--json"}));
    return answerOf(result.status, result.output, result.error);
}

JsonAnswer expectJson(int status, const Words& arguments, Where where) {
    return expectStatus(status, arguments, json(arguments), where);
}

RunningZlkCam::RunningZlkCam(const Words& arguments)
    : arguments_(arguments),
      output_(newFolder() / "output"),
      client_("program", writingInto(output_, arguments)) {}

JsonAnswer RunningZlkCam::expectEnd(int status, Where where) {
    const int ended = client_.wait();
    return expectStatus(status, arguments_, answerOf(ended, readFile(output_), {}), where);
}

JsonAnswer RunningZlkCam::expectStop(std::chrono::milliseconds after, Where where) {
    std::this_thread::sleep_for(after);
    signal(SIGINT);
    const auto start = std::chrono::steady_clock::now();
    JsonAnswer answer = expectEnd(130, where);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    return answer;
}

}  // namespace zlk::test
