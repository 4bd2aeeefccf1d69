#pragma once
// The still-image device in a recording of a bus: found by its descriptors.

#include <map>
#include <optional>

#include "tools/zlkcamsim/Recording.h"

namespace zlk::camsim {

class RecordedDevice {
  public:
    /// A control transfer, of any device.
    void control(const usbscan::UsbEvent& event);

    /// Its descriptors have come.
    bool isKnown() const { return address_.has_value(); }
    bool isFrom(const usbscan::UsbEvent& event) const;
    bool isBulkIn(const usbscan::UsbEvent& event) const { return event.endpoint == bulkIn_; }
    bool isBulkOut(const usbscan::UsbEvent& event) const { return event.endpoint == bulkOut_; }
    bool isInterrupt(const usbscan::UsbEvent& event) const { return event.endpoint == interrupt_; }

    /// Of its bulk pipes, once it is known; not 0.
    std::uint16_t packetSize() const { return packetSize_; }
    /// Descriptors and packet size.
    void moveInto(Recording& recording);

  private:
    using Address = std::pair<std::uint16_t, std::uint8_t>;  // bus, device
    struct Descriptors {
        Bytes device, configuration;
        std::map<std::uint8_t, Bytes> strings;
    };
    void keep(const Address& address, std::uint8_t type, std::uint8_t index, ByteView bytes);
    bool findInterface(ByteView configuration);

    std::map<std::pair<Address, std::uint64_t>, std::pair<std::uint8_t, std::uint8_t>> asked_;
    std::map<Address, Descriptors> descriptors_;
    std::optional<Address> address_;
    std::uint8_t bulkIn_ = 0, bulkOut_ = 0, interrupt_ = 0;
    std::uint16_t packetSize_ = 0;
};

}  // namespace zlk::camsim
