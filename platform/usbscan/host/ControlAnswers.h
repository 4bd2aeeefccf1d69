#pragma once
// Answers the Control messages of clients: what the device's descriptors say.

#include <functional>
#include <set>

#include "platform/usbscan/host/ControlQueue.h"
#include "platform/usbscan/host/HostConnection.h"

namespace zlk::usbscan {

/// The platform's last error for how a request or transfer ended.
std::uint32_t lastErrorOf(UsbStatus status);

class ControlAnswers {
  public:
    /// `gone` is called where the device turns out to be.
    ControlAnswers(UsbDevice& device, ControlQueue& controls, std::function<void()> gone)
        : device_(device), controls_(controls), gone_(std::move(gone)) {}

    /// The payload of a Control message; false if it is none.
    bool answer(HostConnection& client, std::span<const std::byte> payload);
    /// It wants no answer any more.
    void remove(HostConnection& client) { waiting_.erase(&client); }

  private:
    void askDescriptor(HostConnection& client, std::span<const std::byte> wanted,
                       std::uint32_t size);

    UsbDevice& device_;
    ControlQueue& controls_;
    const std::function<void()> gone_;
    std::multiset<HostConnection*> waiting_;
};

}  // namespace zlk::usbscan
