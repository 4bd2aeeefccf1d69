#pragma once
// What the user database knows of the user of this process. The environment has no say in it.

#include <sys/types.h>

#include <string>

namespace zlk::platform {

/// Empty for a user that it doesn't know.
std::string homeFolder();

/// Whether a group is this user's alone: his own by the user database, called as he is, and without
/// another member. Where each user has such a group, what he makes may be writable by it.
bool isPrivateGroup(gid_t group);

}  // namespace zlk::platform
