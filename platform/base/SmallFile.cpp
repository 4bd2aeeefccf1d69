#include "platform/base/SmallFile.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <memory>

#include "platform/descriptor.h"

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
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    // One read is enough: the kernel delivers an attribute as a whole.
    char buffer[256];
    const ssize_t size = file ? ::read(file.get(), buffer, sizeof buffer) : 0;
    std::string text(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    text.erase(std::find(text.begin(), text.end(), '\n'), text.end());
    text.erase(text.find_last_not_of(' ') + 1);
    return text.erase(0, text.find_first_not_of(' '));
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder.c_str()), ::closedir);
    while (const dirent* entry = open ? ::readdir(open.get()) : nullptr)
        names.emplace_back(entry->d_name);
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace zlk::platform
