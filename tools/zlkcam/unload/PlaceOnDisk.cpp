#include "tools/zlkcam/unload/PlaceOnDisk.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <fstream>
#include <sstream>

namespace zlk {
namespace {

/// Undoes the kernel's escapes: a blank, a line break or a backslash in a path stands in its table
/// of mounts as a backslash and three octal digits. The root is the empty text.
std::string folderOf(const std::string& field) {
    if (field == "/") return {};
    std::string path;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            path += static_cast<char>(std::stoi(field.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            path += field[i];
        }
    }
    return path;
}

/// The number of the mount by which a folder was opened; empty if it isn't known.
std::string mountOf(int folder) {
    std::ifstream facts("/proc/self/fdinfo/" + std::to_string(folder));
    std::string word;
    while (facts >> word)
        if (word == "mnt_id:" && facts >> word) return word;
    return {};
}

}  // namespace

bool PlaceOnDisk::isIn(const PlaceOnDisk& folder) const {
    return disk == folder.disk && (path == folder.path || path.starts_with(folder.path + '/'));
}

std::optional<PlaceOnDisk> placeOnDisk(int folder) {
    std::array<char, PATH_MAX> buffer{};
    const std::string link = "/proc/self/fd/" + std::to_string(folder);
    if (::readlink(link.c_str(), buffer.data(), buffer.size() - 1) <= 0) return std::nullopt;
    const std::string path = buffer.data(), wanted = mountOf(folder);
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string mount, parent, disk, root, point;
        fields >> mount >> parent >> disk >> root >> point;
        if (mount != wanted) continue;
        const std::string above = folderOf(point);
        if (!path.starts_with(above)) return std::nullopt;
        return PlaceOnDisk{disk, folderOf(root) + path.substr(above.size())};
    }
    return std::nullopt;
}

}  // namespace zlk
