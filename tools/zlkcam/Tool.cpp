#include "tools/zlkcam/Tool.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "tools/zlkcam/Text.h"

namespace zlk {

Tool::Tool() : terminal_(isatty(STDOUT_FILENO) == 1) {}

void Tool::say(std::string_view line) {
    if (json) return;
    // A pipe or file gets the text unchanged, since programs may compare it.
    write(terminal_ ? harmlessText(line) : std::string(line));
    write("\n");
}

void Tool::warn(std::string_view line) {
    // What was printed before this line has to appear before it.
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", harmlessText(line).c_str());
}

std::size_t Tool::columns() const {
    winsize size{};
    // Some terminals report 0 columns.
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 20;
    return known ? size.ws_col : 80;
}

bool Tool::write(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && !std::ferror(stdout);
}

bool Tool::flush() {
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

ExitStatus Tool::finish() {
    if (json) {
        const std::string text = answer.take();
        write(text.empty() ? "{}" : text);
        write("\n");
    }
    if (flush()) return status;
    warn("zlkcam: The answer couldn't be written to standard output.");
    // A command whose answer nobody could read hasn't succeeded.
    return status == ExitStatus::Success ? ExitStatus::FileUnusable : status;
}

ExitStatus Tool::finish(const Failure& failure) {
    warn(std::string("zlkcam: ") + failure.what());
    if (!failure.advice.empty()) warn(failure.advice);
    if (json) {
        // The error replaces the part of the answer that was built so far.
        answer = JsonWriter();
        writeError(answer.beginObject().key("error"), failure);
        answer.endObject();
    }
    status = failure.status;
    return finish();
}

void Tool::writeError(JsonWriter& json, const Failure& failure) {
    json.beginObject()
        .member("status", static_cast<int>(failure.status))
        .member("message", failure.what())
        .member("advice", failure.advice)
        .endObject();
}

}  // namespace zlk
