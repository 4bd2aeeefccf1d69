#pragma once
// How the program ends.

#include <string>

namespace zlk {

/// The numbers that a device object's ErrorCode has keep their meaning here.
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
    Stopped = 130,
};

/// All of them with their meanings, a line each, for the help text.
std::string exitStatusTable();

}  // namespace zlk
