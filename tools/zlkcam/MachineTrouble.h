#pragma once
// Explains failures whose cause is this computer and not a device. The components have the same
// error code for a claim that another program holds and for a claim that can't be made at all; the
// platform's reports tell them apart.

#include <optional>
#include <string>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// Collects the platform's reports from now on. To be called once, at the start of the program.
void listenToPlatform();

/// Throws Failure if this process may not open as many files as the commands need. A component that
/// can't open a file takes it for missing, which would lead to wrong results.
void requireOpenFiles();

/// The settings store's error, if a component's result says that the store can't be used; otherwise
/// ERROR_SUCCESS.
DWORD settingsError(HRESULT result);

/// The Failure (SettingsUnusable, or NoMemory) for settings that can't be used. `what` says what
/// failed, as in "Reading HKEY_LOCAL_MACHINE failed"; the reason is appended.
Failure settingsFailure(const std::string& what, DWORD error);

/// The Failure (NotRegistered) for a module that can't be loaded. `advice` is used if the platform
/// has reported nothing about modules or the machine root.
Failure moduleFailure(const std::string& what, DWORD error, const std::string& advice);

/// Why claims can't be made on this computer, if the platform has reported that. None without such
/// a report; another program is then taken to hold the device.
std::optional<Failure> claimFailure();

}  // namespace zlk
