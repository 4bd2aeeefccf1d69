#pragma once
// How the words of a command line name the device that a command works on.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace zlk {

/// For a command whose first word is a device, which may be left out.
struct DeviceOption {
    std::string device;
};

/// Declares the word for the device.
void addDevice(CLI::App& command, DeviceOption& option);

/// For a command whose words are a device, which may be left out, and then something else, such as
/// a folder. Each command decides by one of the functions whether the first word is the device.
struct DeviceWords {
    std::vector<std::string> words;
    /// Takes the device's name off the front if there are more words than the `others` that the
    /// command needs; otherwise the result is empty.
    std::u16string takeDevice(std::size_t others);
    /// For a command with any number of words, of which there must be at least one. Takes the first
    /// word if it has the form of a device's name; otherwise the result is empty.
    std::u16string takeDeviceByLooks();
};

}  // namespace zlk
