// Fuzzes the PTP engine with arbitrary bytes from a camera, in operations that receive each kind of
// answer.

#include <memory>

#include "fuzz/Input.h"
#include "ptp/ZlPTPdrv.h"
#include "tests/ptp/ScriptedPort.h"

using namespace zlk;
using namespace zlk::fuzz;

namespace {

/// Runs one operation, which the input chooses.
void operate(ZlPTPdrv& engine, std::uint8_t which, std::uint8_t* target, std::uint32_t size) {
    switch (which % 11) {
        case 0:
            engine.getDeviceInfo();
            return;
        case 1:
            engine.openSession();
            return;
        case 2:
            engine.getStorageIDs();
            return;
        case 3:
            engine.getStorageInfo(1);
            return;
        case 4:
            engine.getObjectInfo(1);
            return;
        case 5:
            engine.getThumb(1, target, size);
            return;
        case 6:
            engine.getPartialObject(1, 0, size, target);
            return;
        case 7:
            engine.getDevicePropDesc(1);
            return;
        case 8:
            engine.getDevicePropValue(1, dataType::string);
            return;
        case 9:
            engine.getEvent();
            return;
        default:
            engine.getNumberObjects(1, 0, 0);
            return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    // A port that gives the input's bytes as transfers and as events.
    test::ScriptedPort port;
    port.maxPacketSize = input.byte();
    const std::uint8_t which = input.byte();
    // The buffer has exactly the size that is passed, so that the sanitizer notices one byte too
    // many.
    const std::uint8_t room = input.byte();
    const auto target = std::make_unique<std::uint8_t[]>(room);
    for (int transfers = input.byte() % 16; transfers > 0; --transfers) {
        const std::string bytes = input.narrow(input.byte());
        port.toHost.emplace_back(bytes.begin(), bytes.end());
        port.events.emplace_back(bytes.begin(), bytes.end());
    }
    ZlPTPdrv engine{wString(u"port")};
    try {
        operate(engine, which, target.get(), room);
    } catch (PTPCommErrors) {
    }
    // However the operation ended, the engine must have released the port.
    require(port.held == 0);
    return 0;
}
