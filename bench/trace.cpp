// Measures trace lines while the log is on. `hold` plays the viewer, until its input ends; `write
// N` writes N lines and prints how many seconds they took.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "foundation/TraceLine.h"
#include "platform/named_objects.h"

using namespace zlk;

namespace {

/// The control block that viewer and writers share.
struct Control {
    std::uint32_t enabled, writeOffset, bufferSize, startTick;
};
// Bytes of the ring that the writers fill.
constexpr DWORD bufferSize = 16 << 20;

int hold() {
    const UniqueHandle control(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  sizeof(Control), u"ZLGlimmerBoxLogCtrlMemory"));
    const UniqueHandle buffer(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                 bufferSize, u"ZLGlimmerBoxLogBuffer"));
    auto* block = static_cast<Control*>(MapViewOfFile(control.get(), FILE_MAP_WRITE, 0, 0, 0));
    if (!block || !buffer) return 1;
    block->writeOffset = 0;
    block->bufferSize = bufferSize;
    block->enabled = 1;
    // The caller waits for this line before it starts writers.
    std::puts("on");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    block->enabled = 0;
    return 0;
}

int write(int lines) {
    const auto start = std::chrono::steady_clock::now();
    // A typical line: a text to convert, and a number.
    const std::u16string name = u"E:\\DCIM\\100CAM\\PICT0001.JPG";
    for (int i = 0; i < lines; ++i) TraceLine("CMassStorageDev", "Found File (%s) %d", name, i);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%.6f\n", seconds.count());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view word = argc > 1 ? argv[1] : "";
    if (word == "hold") return hold();
    if (word == "write" && argc > 2) return write(std::atoi(argv[2]));
    return 2;
}
