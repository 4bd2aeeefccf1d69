#pragma once
// Finds the still-image device in a recording of a USB bus, by its descriptors.

#include <map>
#include <optional>

#include "tools/zlkcamsim/Recording.h"

namespace zlk::camsim {

/// Fed with all control transfers of a recording, in their order.
class RecordedDevice {
  public:
    void control(const usbscan::UsbEvent& event);

    /// Whether the descriptors so far have shown a device with a still-image interface. The first
    /// such device counts.
    bool isKnown() const { return address_.has_value(); }
    /// Whether a transfer is this device's; false before the device is known. The three functions
    /// below are for transfers of this device only.
    bool isFrom(const usbscan::UsbEvent& event) const;
    bool isBulkIn(const usbscan::UsbEvent& event) const { return event.endpoint == bulkIn_; }
    bool isBulkOut(const usbscan::UsbEvent& event) const { return event.endpoint == bulkOut_; }
    bool isInterrupt(const usbscan::UsbEvent& event) const { return event.endpoint == interrupt_; }

    /// Packet size of its bulk pipes in bytes, never 0 once the device is known.
    std::uint16_t packetSize() const { return packetSize_; }
    /// Moves the descriptors and the packet size into `recording`. The device must be known.
    void moveInto(Recording& recording);

  private:
    using Address = std::pair<std::uint16_t, std::uint8_t>;  // bus, device
    struct Descriptors {
        Bytes device, configuration;
        std::map<std::uint8_t, Bytes> strings;
    };
    void keep(const Address& address, std::uint8_t type, std::uint8_t index, ByteView bytes);
    bool findInterface(ByteView configuration);

    // Descriptors that were asked for, type and index, by device and transfer.
    std::map<std::pair<Address, std::uint64_t>, std::pair<std::uint8_t, std::uint8_t>> asked_;
    std::map<Address, Descriptors> descriptors_;
    std::optional<Address> address_;
    std::uint8_t bulkIn_ = 0, bulkOut_ = 0, interrupt_ = 0;
    std::uint16_t packetSize_ = 0;
};

}  // namespace zlk::camsim
