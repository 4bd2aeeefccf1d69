#pragma once
// A still-image device behind libusb, whose asynchronous calls run in the host's event loop.

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

/// Where a device is while it is plugged in.
struct UsbAddress {
    std::uint8_t bus = 0, device = 0;

    /// Of a node /dev/bus/usb/BBB/DDD, each of three digits; none of anything else.
    static std::optional<UsbAddress> ofNode(std::string_view path);
};

/// Pieces of what was read must not be let go from another thread.
class LibusbDevice final : public UsbDevice {
  public:
    /// Opens the device and claims its still-image interface, from no kernel driver either.
    /// `unplugged` is called from the loop. Throws LibusbError: LIBUSB_ERROR_BUSY if somebody else
    /// has claimed it, LIBUSB_ERROR_NO_DEVICE, LIBUSB_ERROR_ACCESS; LIBUSB_ERROR_NOT_FOUND if
    /// it has no such interface.
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
    void submit(LibusbTransfer& transfer, LibusbTransfer::Ended ended);
    /// Takes back what is in flight on a pipe, or on all of them, and waits until it has ended.
    void takeBack(std::uint8_t endpoint);
    void takeBackAll();

    /// What of a write is still to be sent.
    struct Write {
        std::span<const std::byte> rest;
        bool zeroPacket = false;
        bool cancelled = false;
        Done done;
    };

    LibusbContext context_;
    std::function<void()> unplugged_;
    LibusbTransfer write_, control_, interrupt_;
    Write writing_;
    std::vector<std::byte> controlBytes_;
    std::array<std::byte, 64> interruptBytes_{};
    UsbFacts facts_;
    std::unique_ptr<BulkReader> reader_;
    /// Closed before the transfers are freed, so that none of them can be in flight then.
    std::unique_ptr<libusb_device_handle, decltype(&libusb_close)> handle_{nullptr, &libusb_close};
};

}  // namespace zlk::usbscan
