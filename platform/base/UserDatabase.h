#pragma once
// What the user database says about the effective user of this process. Environment variables are
// ignored: they could make two processes of one user disagree.

#include <sys/types.h>

#include <string>

namespace zlk::platform {

/// The user's home folder; empty if the database doesn't have the user or can't be read.
std::string homeFolder();

/// Whether a group is this user's private group: his primary group, with his name, and with no
/// other member in its list. On systems that give each user a group of his own, his folders are
/// often writable by that group.
bool isPrivateGroup(gid_t group);

}  // namespace zlk::platform
