#pragma once
// The models that the virtual camera can play, and how they differ.

#include <cstdint>
#include <span>
#include <string>

#include "tools/zlkcamsim/Quirks.h"

namespace zlk::camsim {

/// How a camera presents itself on USB and in its DeviceInfo.
struct Identity {
    std::uint16_t vid = 0x0ABC, pid = 0x0001;
    std::string manufacturer = "Zephyr-Lanthorn", product = "Glimmerbox 539",
                serial = "ZL539-0004711";  ///< UTF-8
};

/// How a dock answers when it is asked about the camera that is plugged into it.
enum class PassThrough : std::uint8_t {
    Anything,  ///< answers all questions, at any time
    None,      ///< doesn't know the questions: the device is a camera
    Plain,     ///< answers ConnectedCamera alone
    Button,    ///< ConnectedCamera finds no camera before PressSaveButton
};

/// What a camera can do, and its habits. By default it can do everything and has no habits.
struct Traits {
    bool hasClock = true;       ///< it has the property DateTime
    bool takesObjects = true;   ///< it takes objects from the host: menus and messages
    bool dropsOrders = true;    ///< print order and intent file can be deleted
    bool deletesLater = false;  ///< deleted objects stay until ObjectRemoved is fetched or lost
    PassThrough passThrough = PassThrough::Anything;
    Quirks quirks = {};
};

/// A model with its name on the command line.
struct Model {
    std::string name;
    Identity identity;
    Traits traits;
};

/// All models, in the order of the help text.
std::span<const Model> models();

}  // namespace zlk::camsim
