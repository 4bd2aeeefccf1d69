#include "platform/base/UserDatabase.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <optional>
#include <string_view>
#include <vector>

namespace zlk::platform {
namespace {

/// Memory for the texts that an entry of the database points to.
using Room = std::vector<char>;
constexpr std::size_t roomSize = 16 * 1024;

// The entry of this process's effective user; its texts lie in `room`.
std::optional<passwd> thisUser(Room& room) {
    passwd entry;
    passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, room.data(), room.size(), &found) != 0 || !found)
        return std::nullopt;
    return entry;
}

}  // namespace

std::string homeFolder() {
    Room room(roomSize);
    const std::optional<passwd> user = thisUser(room);
    return user ? user->pw_dir : "";
}

bool isPrivateGroup(gid_t number) {
    Room userRoom(roomSize), groupRoom(roomSize);
    const std::optional<passwd> user = thisUser(userRoom);
    group entry;
    group* found = nullptr;
    if (!user || user->pw_gid != number ||
        ::getgrgid_r(number, &entry, groupRoom.data(), groupRoom.size(), &found) != 0 || !found)
        return false;
    const std::string_view name = user->pw_name;
    if (name != entry.gr_name) return false;
    for (char** member = entry.gr_mem; *member; ++member)
        if (name != *member) return false;
    return true;
}

}  // namespace zlk::platform
