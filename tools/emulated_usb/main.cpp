// zlk-emulated-usb [STORAGE-FOLDER...]: a virtual camera on an emulated bus, until standard input
// is closed or the command `quit` comes. Prints the root of the bus, with which any program that
// uses libusb finds the camera:
//
//     UMOCKDEV_DIR=ROOT umockdev-wrapper PROGRAM
//
// Then reads commands for the camera from standard input, and prints an answer to each.

#include <exception>
#include <iostream>

#include "tools/emulated_usb/EmulatedUsb.h"
#include "tools/zlkcamsim/ControlChannel.h"
#include "tools/zlkcamsim/ControlCommands.h"
#include "tools/zlkcamsim/VirtualCamera.h"

int main(int argc, char** argv) try {
    zlk::usbscan::EventLoop loop;
    zlk::camsim::VirtualCamera camera(loop, {}, 512);
    for (int i = 1; i < argc; ++i) camera.store().addStorage(argv[i]);
    zlk::emulated::EmulatedUsb usb(loop, camera);
    camera.setPulled([&] { usb.unplug(); });
    const auto stop = [&] { loop.stop(); };
    zlk::camsim::ControlCommands commands(
        camera, {[&] { usb.plug(); }, [&] { usb.unplug(); }, [&] { return usb.isPlugged(); }},
        stop);
    zlk::camsim::ControlChannel channel(
        loop, [&](const std::string& line) { return commands.answer(line); });
    std::cout << usb.root() << std::endl;
    channel.serveStandardStreams(stop);
    loop.run();
} catch (const std::exception& error) {
    std::cerr << "zlk-emulated-usb: " << error.what() << '\n';
    return 2;
}
