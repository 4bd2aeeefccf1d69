#pragma once

#include <cstdint>

namespace zlk::camsim {

/// What binds initiator and responder: one at a time, and it outlives whoever opened it.
struct Session {
    std::uint32_t id = 0;               ///< 0: none is open
    std::uint32_t lastTransaction = 0;  ///< of the last command in it

    bool isOpen() const { return id != 0; }
};

}  // namespace zlk::camsim
