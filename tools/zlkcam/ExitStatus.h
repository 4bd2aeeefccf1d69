#pragma once
// The exit statuses of zlkcam. The command record alone also passes on that of the program it ran.

#include <string>

namespace zlk {

/// Scripts depend on these numbers. A number that is also an ErrorCode of the device objects has
/// the same meaning in both.
enum class ExitStatus : int {
    Success = 0,
    Usage = 1,
    DeviceHeld = 2,
    NotClaimed = 3,
    ReadFailed = 4,
    WriteFailed = 5,
    FileUnusable = 6,
    TooLarge = 7,
    NotSupported = 8,
    NotConnected = 9,
    DeleteRefused = 10,
    NotVerified = 11,
    NoMemory = 12,
    NotRegistered = 13,
    SettingsUnusable = 14,
    BadDocument = 15,
    ViewerRunning = 16,
    NotAdopted = 17,
    Stopped = 130,  // as shells report a program that Ctrl-C has ended
};

/// A text with all statuses and their meanings, one line each, for the help.
std::string exitStatusTable();

}  // namespace zlk
