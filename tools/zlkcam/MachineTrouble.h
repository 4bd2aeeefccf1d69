#pragma once
// What is wrong with this computer and not with a device. The components have one code for a claim
// that somebody else has and for one that can't be made; the platform says more than it returns.

#include <optional>
#include <string>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// Keeps what the platform says from now on.
void listenToPlatform();

/// Throws Failure where this process may not open as many files as the commands need. A component
/// that can't open one takes it for one that isn't there.
void requireOpenFiles();

/// The error of the settings store that a result stands for; ERROR_SUCCESS if it is another one.
DWORD settingsError(HRESULT result);

/// Settings that can't be used. `what` completes to a sentence with the reason, as in "Reading
/// HKEY_LOCAL_MACHINE failed".
Failure settingsFailure(const std::string& what, DWORD error);

/// A module that can't be used, likewise; `advice` is for one of which nothing more is known.
Failure moduleFailure(const std::string& what, DWORD error, const std::string& advice);

/// Why claims can't be made on this computer, if one couldn't: nobody else need hold that device.
std::optional<Failure> claimFailure();

}  // namespace zlk
