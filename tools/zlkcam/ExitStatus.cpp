#include "tools/zlkcam/ExitStatus.h"

namespace zlk {
namespace {

struct Row {
    ExitStatus status;
    const char* meaning;
};

constexpr Row rows[] = {
    {ExitStatus::Success, "done"},
    {ExitStatus::Usage,
     "the command line can't be understood, or names no single device or no record of copies"},
    {ExitStatus::DeviceHeld, "another program holds the device"},
    {ExitStatus::NotClaimed, "the device was let go in the middle of the work"},
    {ExitStatus::ReadFailed, "reading from the device failed, or what was asked for isn't there"},
    {ExitStatus::WriteFailed, "writing to the device failed"},
    {ExitStatus::FileUnusable, "a file or folder on this machine can't be used, or is full"},
    {ExitStatus::TooLarge, "a file of 4 GiB or more was left on the camera"},
    {ExitStatus::NotSupported, "this device can't do that"},
    {ExitStatus::NotConnected, "the device or its card isn't there, or was pulled"},
    {ExitStatus::DeleteRefused, "deleting was refused, by the device or by the settings"},
    {ExitStatus::NotVerified,
     "a copy differs from what the device gives, or from what was recorded of it"},
    {ExitStatus::NoMemory,
     "out of memory or file descriptors, or the thumbnail library is missing"},
    {ExitStatus::NotRegistered, "a component isn't registered, or doesn't load"},
    {ExitStatus::SettingsUnusable, "the settings can't be read or written"},
    {ExitStatus::BadDocument,
     "a file that was given, a record of copies, or a component's answer can't be understood"},
    {ExitStatus::ViewerRunning, "another trace viewer is running"},
    {ExitStatus::NotAdopted, "the camera table was left as it is"},
    {ExitStatus::Stopped, "stopped by Ctrl-C or a request to end"},
};

}  // namespace

std::string exitStatusTable() {
    std::string table = "Exit status:\n";
    for (const Row& row : rows) {
        const std::string number = std::to_string(static_cast<int>(row.status));
        table += std::string(5 - number.size(), ' ') + number + "  " + row.meaning + "\n";
    }
    return table;
}

}  // namespace zlk
