#pragma once
// A still-image device that is driven through libusb's asynchronous calls, in the host's event
// loop.

#include <libusb.h>

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/program/BulkReader.h"
#include "usbscan/program/LibusbContext.h"
#include "usbscan/program/LibusbTransfer.h"

namespace zlk::usbscan {

/// A device's place on the bus, which it keeps until it is unplugged.
struct UsbAddress {
    std::uint8_t bus = 0, device = 0;

    /// From a path /dev/bus/usb/BBB/DDD with three digits each; none from anything else.
    static std::optional<UsbAddress> ofNode(std::string_view path);
};

/// The keepers of pieces must be released in the loop's thread.
class LibusbDevice final : public UsbDevice {
  public:
    /// Opens the device and claims its still-image interface; a kernel driver that has it isn't
    /// detached. `unplugged` is called from the loop. Throws LibusbError, among others with
    /// LIBUSB_ERROR_BUSY if the interface is claimed already, and with LIBUSB_ERROR_NOT_FOUND if
    /// the device has no such interface.
    LibusbDevice(EventLoop& loop, UsbAddress address, std::function<void()> unplugged);
    ~LibusbDevice() override;

    const UsbFacts& facts() const override { return facts_; }
    void setListener(Listener* listener) override { reader_->setListener(listener); }
    void read(std::uint64_t due, bool andNext) override { reader_->read(due, andNext); }
    bool stopReading() override { return reader_->stop(); }
    void write(std::span<const std::byte> bytes, bool zeroPacket, Done done) override;
    void cancelWrite() override;
    void control(const UsbRequest& request, DoneWithBytes done) override;
    void waitForInterrupt(DoneWithBytes done) override;
    void cancelInterrupt() override { interrupt_.cancel(); }
    bool clearHalt(std::uint8_t endpoint) override;
    bool reset() override;

  private:
    void open(UsbAddress address);
    void readFacts();
    void watchForUnplugging();
    void writeNext();
    /// Submits the transfer. If that fails, `ended` is called from the loop all the same.
    void submit(LibusbTransfer& transfer, LibusbTransfer::Ended ended);
    /// Cancels what is in flight on a pipe, or on all pipes, and waits for its end, but not for
    /// ever.
    void takeBack(std::uint8_t endpoint);
    void takeBackAll();

    struct Write {
        std::span<const std::byte> rest;  ///< not sent yet
        bool zeroPacket = false;          ///< a zero-length packet is still to follow
        bool cancelled = false;
        Done done;
    };

    LibusbContext context_;
    std::function<void()> unplugged_;
    LibusbTransfer write_, control_, interrupt_;
    Write writing_;
    std::vector<std::byte> controlBytes_;  // setup packet and data of the request under way
    std::array<std::byte, 64> interruptBytes_{};
    UsbFacts facts_;
    std::unique_ptr<BulkReader> reader_;
    /// Declared last, so that it is closed before the transfers are freed: closing ends those in
    /// flight.
    std::unique_ptr<libusb_device_handle, decltype(&libusb_close)> handle_{nullptr, &libusb_close};
};

}  // namespace zlk::usbscan
