#pragma once
// ZlPTPdrv::hold(), which runs an operation while the port is held. Only for the source files of
// ZlPTPdrv.

#include "foundation/TraceLine.h"
#include "ptp/ZlPTPdrv.h"

namespace zlk {

inline constexpr char category[] = "ZlPTPdrv";
inline constexpr std::uint16_t dataStreamSize = 32768;  // bytes; the stream grows for more

/// The port is released whatever `body` throws. It isn't released if getMutex() failed: the port
/// was never held then, and its counter must not be overwritten.
template <class Body, class Recover>
void ZlPTPdrv::hold(const char* name, Body body, Recover recover) {
    // A progress report that starts another operation would overwrite the stream of the transfer
    // that reports.
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
