// zlk-emulated-usb: a device on an emulated bus, until its standard input is closed. Prints the
// root of the bus, with which any program that uses libusb finds it:
//
//     UMOCKDEV_DIR=ROOT umockdev-wrapper PROGRAM

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "tests/usb/emulator/EmulatedUsb.h"
#include "tests/usb/emulator/ScriptedFunction.h"

namespace zlk::test {
namespace {

struct Device {
    std::unique_ptr<camsim::UsbFunction> function;
    /// Of the device's own commands; false if it is none.
    std::function<bool(const std::string& line)> obey;
};

Device makeDevice(usbscan::EventLoop&) {
    return {std::make_unique<ScriptedFunction>(512), [](const std::string&) { return false; }};
}

/// Takes "unplug", "plug" and what the device understands; the loop ends with the input.
class Commands {
  public:
    Commands(usbscan::EventLoop& loop, EmulatedUsb& usb, const Device& device)
        : loop_(loop), usb_(usb), device_(device) {
        loop_.watch(STDIN_FILENO, POLLIN, [this](short) { read(); });
    }
    ~Commands() { loop_.forget(STDIN_FILENO); }
    Commands(const Commands&) = delete;
    Commands& operator=(const Commands&) = delete;

  private:
    void read() {
        char buffer[256];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) return loop_.stop();
        pending_.append(buffer, static_cast<std::size_t>(count));
        for (std::size_t end; (end = pending_.find('\n')) != std::string::npos;) {
            obey(pending_.substr(0, end));
            pending_.erase(0, end + 1);
        }
    }
    void obey(const std::string& command) {
        if (command == "unplug")
            usb_.unplug();
        else if (command == "plug")
            usb_.plug();
        else if (!device_.obey(command))
            std::fprintf(stderr, "What is \"%s\"?\n", command.c_str());
    }

    usbscan::EventLoop& loop_;
    EmulatedUsb& usb_;
    const Device& device_;
    std::string pending_;
};

}  // namespace
}  // namespace zlk::test

int main() {
    zlk::usbscan::EventLoop loop;
    const auto device = zlk::test::makeDevice(loop);
    zlk::test::EmulatedUsb usb(loop, *device.function);
    const zlk::test::Commands commands(loop, usb, device);
    std::printf("%s\n", usb.root().c_str());
    std::fflush(stdout);
    loop.run();
}
