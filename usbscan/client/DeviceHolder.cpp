#include "usbscan/client/DeviceHolder.h"

#include <dirent.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <string_view>

#include "platform/base/SmallFile.h"

namespace zlk::platform {
namespace {

bool hasOpen(const std::string& process, const std::string& node) {
    const std::string folder = process + "/fd/";
    for (const std::string& descriptor : namesIn(folder)) {
        char target[512];
        const ssize_t size = ::readlink((folder + descriptor).c_str(), target, sizeof target);
        // The end is compared and not the whole path, since a process in a container may see /dev
        // below a root of its own.
        if (size > 0 && std::string_view(target, static_cast<std::size_t>(size)).ends_with(node))
            return true;
    }
    return false;
}

}  // namespace

DeviceHolder findHolderOf(const AttachedDevice& device) {
    if (device.node.empty()) return {};
    const std::unique_ptr<DIR, int (*)(DIR*)> processes(::opendir("/proc"), ::closedir);
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
