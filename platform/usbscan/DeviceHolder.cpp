#include "platform/usbscan/DeviceHolder.h"

#include <dirent.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <string_view>

#include "platform/internal/SmallFile.h"

namespace zlk::platform {
namespace {

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

Folder openFolder(const std::string& path) {
    return {::opendir(path.c_str()), ::closedir};
}

bool hasOpen(const std::string& process, const std::string& node) {
    const Folder descriptors = openFolder(process + "/fd");
    while (const dirent* entry = descriptors ? ::readdir(descriptors.get()) : nullptr) {
        char target[512];
        const std::string link = process + "/fd/" + entry->d_name;
        const ssize_t size = ::readlink(link.c_str(), target, sizeof target);
        // Another process may see the devices below a root of its own.
        if (size > 0 && std::string_view(target, static_cast<std::size_t>(size)).ends_with(node))
            return true;
    }
    return false;
}

}  // namespace

DeviceHolder findHolderOf(const AttachedDevice& device) {
    if (device.node.empty()) return {};
    const Folder processes = openFolder("/proc");
    while (const dirent* entry = processes ? ::readdir(processes.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        pid_t pid = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (error != std::errc() || end != name.data() + name.size()) continue;
        const std::string process = "/proc/" + std::string(name);
        if (!hasOpen(process, device.node)) continue;
        const std::string program = readAttribute(process + "/comm");
        if (program != "zlk-usbscan") return {pid, program};
    }
    return {};
}

}  // namespace zlk::platform
