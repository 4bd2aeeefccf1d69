#include "tools/zlkcamsim/Model.h"

namespace zlk::camsim {
namespace {

Identity identityOf(std::uint16_t pid, const std::string& name) {
    return {0x5AF1, pid, "Zephyr-Lanthorn", "Glimmerbox " + name, "ZL" + name + "-0004711"};
}

// The traits of the models. What isn't named has its default.
constexpr Traits camera{.passThrough = PassThrough::None};
constexpr Traits withoutClock{.hasClock = false, .passThrough = PassThrough::None};
constexpr Traits withoutShare{.takesObjects = false, .passThrough = PassThrough::None};
constexpr Traits withFixedOrders{
    .takesObjects = false, .dropsOrders = false, .passThrough = PassThrough::None};
constexpr Traits withLateDeletion{
    .takesObjects = false, .deletesLater = true, .passThrough = PassThrough::None};
constexpr Traits plainDock{.takesObjects = false, .passThrough = PassThrough::Plain};
constexpr Traits buttonDock{.takesObjects = false, .passThrough = PassThrough::Button};

}  // namespace

std::span<const Model> models() {
    // 264 and 948 share a USB id, so that a host has to tell them apart by their names.
    static const Model all[]{{"264", identityOf(0x7C34, "264"), withFixedOrders},
                             {"283", identityOf(0x7D01, "283"), camera},
                             {"368", identityOf(0x7D02, "368"), withoutClock},
                             {"476", identityOf(0x7C35, "476"), withLateDeletion},
                             {"539", identityOf(0x7C36, "539"), withoutShare},
                             {"948", identityOf(0x7C34, "948"), withFixedOrders},
                             {"unknown", identityOf(0x7FFF, "1000"), camera},
                             {"dock", identityOf(0x7E00, "Dock"), plainDock},
                             {"dock2", identityOf(0x7E01, "Dock 2"), buttonDock}};
    return all;
}

}  // namespace zlk::camsim
