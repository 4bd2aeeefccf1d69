#include "platform/internal/SmallFile.h"

#include <fcntl.h>

#include <algorithm>

#include "platform/internal/Descriptor.h"

namespace zlk::platform {

std::string readSmallFile(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::string bytes;
    char buffer[4096];
    while (file && bytes.size() < limit) {
        const ssize_t n = ::read(file.get(), buffer, std::min(sizeof buffer, limit - bytes.size()));
        if (n <= 0) break;
        bytes.append(buffer, static_cast<std::size_t>(n));
    }
    return bytes;
}

std::string readAttribute(const std::string& path) {
    constexpr std::size_t maxAttribute = 256;
    std::string text = readSmallFile(path, maxAttribute);
    text.erase(std::find(text.begin(), text.end(), '\n'), text.end());
    text.erase(text.find_last_not_of(' ') + 1);
    return text.erase(0, text.find_first_not_of(' '));
}

}  // namespace zlk::platform
