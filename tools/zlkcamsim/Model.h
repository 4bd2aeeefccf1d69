#pragma once
// What tells one model of camera from another.

#include <cstdint>
#include <span>
#include <string>

#include "tools/zlkcamsim/Quirks.h"

namespace zlk::camsim {

/// How a camera presents itself.
struct Identity {
    std::uint16_t vid = 0x0ABC, pid = 0x0001;
    std::string manufacturer = "Zephyr-Lanthorn", product = "Glimmerbox 539",
                serial = "ZL539-0004711";  ///< UTF-8
};

/// What a device tells of a camera that is plugged into it.
enum class PassThrough : std::uint8_t {
    Anything,  ///< all that it is asked, at any time
    None,      ///< it doesn't know the question
    Plain,     ///< which one it is
    Button,    ///< only while looking, until somebody has pressed the button
};

/// What a camera does; by default all that one of them can.
struct Traits {
    bool hasClock = true;       ///< the property DateTime
    bool takesObjects = true;   ///< from the host: menus and messages
    bool dropsOrders = true;    ///< print order and intent file can be deleted
    bool deletesLater = false;  ///< an object is there until its ObjectRemoved has been fetched
    PassThrough passThrough = PassThrough::Anything;
    Quirks quirks = {};
};

struct Model {
    std::string name;
    Identity identity;
    Traits traits;
};

std::span<const Model> models();

}  // namespace zlk::camsim
