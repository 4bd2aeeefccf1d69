#include "camera_devices/ObjectWalk.h"

namespace zlk {
namespace {

// A camera that lists more than this is taken for broken.
constexpr std::size_t mostObjects = 1'000'000;

}  // namespace

ObjectWalk::ObjectWalk(PtpInterface& driver, std::uint32_t store, std::uint32_t parent, bool asks)
    : ptp(driver), storage(store), asksFolders(asks) {
    add(ptp.getObjectHandles(storage, 0, parent));
}

void ObjectWalk::add(const std::vector<std::uint32_t>& more) {
    for (const std::uint32_t handle : more) {
        if (asksFolders && !seen.insert(handle).second) continue;
        if (handles.size() >= mostObjects) throw PTP_OUT_OF_MEMORY;
        handles.push_back(handle);
    }
}

std::optional<std::uint32_t> ObjectWalk::next() {
    while (position == handles.size())
        if (!askNextFolder()) return std::nullopt;
    return handles[position++];
}

void ObjectWalk::described(std::uint32_t handle, const ObjectInfoDataset& info) {
    if (!asksFolders) return;
    parents.insert(info.ParentObject);
    if (info.ObjectFormat == folderFormat) folders.push_back(handle);
}

bool ObjectWalk::askNextFolder() {
    while (askedFolders < folders.size()) {
        const std::uint32_t folder = folders[askedFolders++];
        // An object of this folder was listed already, so the camera is taken to list them all.
        if (parents.contains(folder)) continue;
        add(ptp.getObjectHandles(storage, 0, folder));
        return true;
    }
    return false;
}

}  // namespace zlk
