#include "tools/zlkcam/unload/DeviceRoot.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <climits>
#include <string_view>

#include "tools/zlkcam/unload/FolderPath.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {

DeviceRoot::DeviceRoot(const std::u16string& path) {
    if (path.empty()) return;
    std::string reason;
    const Descriptor root = openFolder(path, reason);
    if (root) identity_ = identityOf(root.get());
    if (root) place_ = placeOnDisk(root.get());
    if (!identity_)
        throw Failure(ExitStatus::NotConnected,
                      "The device can't be looked at any more: " + reason + ".");
}

bool DeviceRoot::holds(int folder, const std::vector<FileIdentity>& way) const {
    if (!identity_) return false;
    if (std::ranges::find(way, *identity_) != way.end()) return true;
    // From a folder of the device that is mounted in a second place, the way doesn't lead through
    // the device's root. Only such a folder is on the same file system as a card.
    if (!place_ || way.front().device != identity_->device) return false;
    const std::optional<PlaceOnDisk> place = placeOnDisk(folder);
    return place && place->isIn(*place_);
}

std::vector<FileIdentity> DeviceRoot::requireElsewhere(int folder, const std::string& shown) const {
    std::vector<FileIdentity> way = wayFrom(folder);
    if (way.empty()) throwPosix("Finding out where " + shown + " lies");
    if (holds(folder, way))
        throw Failure(ExitStatus::FileUnusable, "The folder " + shown + " is on the device itself.",
                      "Choose a folder on this machine.");
    return way;
}

std::optional<bool> DeviceRoot::holds(int file) const {
    if (!identity_) return false;
    std::array<char, PATH_MAX> path{};
    // The kernel knows where an open file really lies, whatever links led to it.
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    if (::readlink(link.c_str(), path.data(), path.size() - 1) <= 0) return std::nullopt;
    const std::string folder(path.data(), std::string_view(path.data()).rfind('/') + 1);
    const Descriptor above(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::vector<FileIdentity> way =
        above ? wayFrom(above.get()) : std::vector<FileIdentity>();
    return way.empty() ? std::nullopt : std::optional(holds(above.get(), way));
}

}  // namespace zlk
