#pragma once
// The frame around each operation, for the files of ZlPTPdrv alone.

#include "foundation/TraceLine.h"
#include "ptp/ZlPTPdrv.h"

namespace zlk {

inline constexpr char category[] = "ZlPTPdrv";
inline constexpr std::uint16_t dataStreamSize = 32768;

/// The port is free again on every way out. Where it was never had, its counter is not ours to
/// store.
template <class Body, class Recover>
void ZlPTPdrv::hold(const char* name, Body body, Recover recover) {
    // Who comes out of a progress report would take the stream from under the transfer.
    if (busy) throw PTP_GENERAL_ERROR;
    const struct Busy {
        bool& flag;
        ~Busy() { flag = false; }
    } untilTheEnd{busy = true};
    bool taken = false;
    const auto release = [&] {
        if (taken) sync->releaseMutex(port.c_str(), recover());
    };
    try {
        transactionID = sync->getMutex(port.c_str());
        taken = true;
        body();
        sync->releaseMutex(port.c_str(), transactionID);
    } catch (PTPCommErrors error) {
        TraceLine(category, "%s err(%x)", name, static_cast<std::uint32_t>(error));
        release();
        throw;
    } catch (...) {
        release();
        throw;
    }
}

template <class Body>
void ZlPTPdrv::hold(const char* name, Body body) {
    hold(name, body, [this] { return transactionID; });
}

}  // namespace zlk
