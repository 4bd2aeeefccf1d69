#pragma once
// A virtual camera with one object, and what clients do with it.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ptp/ZlPTPdrv.h"
#include "tests/ptp/Raised.h"
#include "tests/support/PlatformSettings.h"
#include "tests/support/TestMachine.h"
#include "tests/support/VirtualCamera.h"

namespace zlk::test {

inline constexpr WCHAR firstPort[] = u"\\\\.\\Usbscan1000";

/// The bytes of an object that was added as `random=<size> seed=<seed>`.
inline std::vector<std::uint8_t> randomBytes(std::size_t size, std::uint64_t seed = 1) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) {
        seed = seed * 6364136223846793005u + 1442695040888963407u;
        byte = static_cast<std::uint8_t>(seed >> 56);
    }
    return bytes;
}

inline std::string randomText(std::size_t size) {
    const auto bytes = randomBytes(size);
    return {bytes.begin(), bytes.end()};
}

struct Camera : VirtualCamera {
    explicit Camera(std::vector<std::string> more = {}) : VirtualCamera(with(std::move(more))) {}

    using VirtualCamera::add;
    std::uint32_t add(std::size_t size) { return add("random=" + std::to_string(size)); }

  private:
    static std::vector<std::string> with(std::vector<std::string> more) {
        more.insert(more.end(), {"--storage", newFolder().string()});
        return more;
    }
};

/// Opens the session, or goes on in the one that is open.
inline void joinSession(ZlPTPdrv& camera) {
    const std::uint32_t raised = raisedBy([&] { camera.openSession(); });
    if (raised != 0 && raised != PTP_SESSION_ALREADY_OPEN && raised != PTP_INVALID_TRANSACTION_ID)
        throw static_cast<PTPCommErrors>(raised);
}

/// The virtual camera in its session, as one process of several has it.
struct JoinedCamera : ZlPTPdrv {
    JoinedCamera() : ZlPTPdrv(wString(firstPort)) { joinSession(*this); }
};

inline std::vector<std::uint8_t> objectOf(ZlPTPdrv& camera, std::uint32_t handle,
                                          std::uint32_t size) {
    std::vector<std::uint8_t> bytes(size);
    camera.getObject(handle, bytes.data(), size, nullptr);
    return bytes;
}

/// Announces and sends `bytes`.
inline void sendObject(ZlPTPdrv& camera, const std::vector<std::uint8_t>& bytes) {
    ObjectInfoDataset info;
    info.ObjectFormat = 0x3000;
    info.ObjectCompressedSize = static_cast<std::uint32_t>(bytes.size());
    info.Filename.assign(wString(u"SENT.DAT"));
    camera.sendObjectInfo(info, 0, 0);
    camera.sendObject(bytes.data(), info.ObjectCompressedSize);
}

}  // namespace zlk::test
