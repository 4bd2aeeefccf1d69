// Measures how long the sum of a file takes, read in the pieces in which components read. The file
// should be in the system's cache. Prints seconds and the sum. usage: zlk-bench-sums FILE

#include <fcntl.h>

#include <chrono>
#include <cstdio>
#include <span>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/ContentSum.h"

int main(int count, char** words) {
    if (count != 2) return 2;
    const auto start = std::chrono::steady_clock::now();
    const zlk::Descriptor file(::open(words[1], O_RDONLY | O_CLOEXEC));
    std::vector<std::byte> piece(64 * 1024);
    zlk::ContentSummer summer;
    ssize_t read = 0;
    while ((read = ::read(file.get(), piece.data(), piece.size())) > 0)
        summer.add(std::span(piece).first(static_cast<std::size_t>(read)));
    if (read < 0) return 1;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%f %s\n", seconds.count(), zlk::sumText(summer.sum()).c_str());
    return 0;
}
