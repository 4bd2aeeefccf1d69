#pragma once
// The commands by which a tester controls a virtual camera: one in each line, with one answer.

#include <functional>
#include <string>
#include <vector>

#include "tools/zlkcamsim/VirtualCamera.h"

namespace zlk::camsim {

/// What the commands need of the cable. The callbacks lead to the object that connects the camera
/// to its bus.
struct Cable {
    std::function<void()> plug, unplug;
    std::function<bool()> isPlugged;
};

/// Used on the thread of the event loop only.
class ControlCommands {
  public:
    /// `quit` is called for the command of that name. The camera outlives this.
    ControlCommands(VirtualCamera& camera, Cable cable, std::function<void()> quit);

    /// Executes a line and returns `ok`, `ok ...` or `error ...`, without a line end. Throws
    /// nothing but std::bad_alloc.
    std::string answer(const std::string& line);

  private:
    using Words = std::vector<std::string>;
    using Command = std::string (ControlCommands::*)(const Words&);
    /// Null if there is no such command.
    static Command find(const std::string& name);

    // The cable, the program, the session, and the camera behind a dock.
    std::string plug(const Words&);
    std::string unplug(const Words&);
    std::string quit(const Words&);
    std::string state(const Words&);
    std::string session(const Words& words);
    std::string behind(const Words& words);
    // Faults and events.
    std::string fault(const Words& words);
    std::string faults(const Words& words);
    std::string event(const Words& words);
    std::string events(const Words& words);

    // What lies on the cards, and what the host has announced: ControlCommands_objects.cpp.
    std::string add(const Words& words);
    std::string remove(const Words& words);
    std::string eject(const Words& words);
    std::string objects(const Words&);
    std::string sent(const Words&);

    // What the host has done.
    std::string violations(const Words& words);
    std::string log(const Words& words);
    std::string stats(const Words&);

    VirtualCamera& camera_;
    Cable cable_;
    std::function<void()> quit_;
};

}  // namespace zlk::camsim
