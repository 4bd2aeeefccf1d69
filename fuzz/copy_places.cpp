// Fuzzes the names of copies: for any template and any file name, the place must lie in the folder
// and not be hidden. Matching any pattern must end in reasonable time.

#include "fuzz/Input.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/unload/GlobPattern.h"
#include "tools/zlkcam/unload/NameTemplate.h"

using namespace zlk;

namespace {

/// Each component is short enough, not hidden, and free of control characters and backslashes.
void requireSafe(std::string_view place) {
    while (true) {
        const std::size_t end = std::min(place.find('/'), place.size());
        const std::string_view part = place.substr(0, end);
        fuzz::require(!part.empty() && part.size() <= 220 && part.front() != '.');
        for (const char byte : part)
            fuzz::require(static_cast<unsigned char>(byte) >= 0x20 && byte != '\\');
        if (end == place.size()) return;
        place.remove_prefix(end + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The input: template, pattern, camera's name, counter, date, and the rest is the path.
    fuzz::Input input(data, size);
    const std::string text = input.narrow(input.byte() % 64);
    const std::string pattern = input.narrow(input.byte() % 64);
    NameFields fields{{}, input.wide(input.byte() % 16), input.number(), std::nullopt};
    if (input.byte() % 2) fields.date = localTimeOf(input.number());
    fields.path = input.wide(1024);
    try {
        requireSafe(NameTemplate(text).apply(fields));
    } catch (const Failure&) {
    }
    try {
        GlobPattern(pattern).matches(fields.path);
    } catch (const Failure&) {
    }
    return 0;
}
