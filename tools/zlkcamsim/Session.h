#pragma once
// The PTP session of a camera.

#include <cstdint>

namespace zlk::camsim {

/// A camera has at most one session. The session isn't bound to the program that opened it, and
/// stays open when that program ends.
struct Session {
    std::uint32_t id = 0;               ///< 0: no session is open
    std::uint32_t lastTransaction = 0;  ///< id of the session's last command; 0: none has come

    bool isOpen() const { return id != 0; }
};

}  // namespace zlk::camsim
