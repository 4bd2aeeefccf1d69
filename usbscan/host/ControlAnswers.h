#pragma once
// Answers the Control messages of clients: what the device's descriptors say.

#include <deque>
#include <functional>

#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/ControlQueue.h"

namespace zlk::usbscan {

/// The platform's last error for how a request or transfer ended.
std::uint32_t lastErrorOf(UsbStatus status);

class ControlAnswers {
  public:
    /// `gone` is called where the device turns out to be.
    ControlAnswers(UsbDevice& device, ControlQueue& controls, std::function<void()> gone)
        : device_(device), controls_(controls), gone_(std::move(gone)) {}

    /// The payload of a Control message; false if it is none, or too many are unanswered.
    bool answer(ClientConnection& client, std::span<const std::byte> payload);
    /// It wants no answer any more.
    void remove(ClientConnection& client);

  private:
    struct Waiting {
        ClientConnection* client;  // null: gone
        std::uint32_t question;
        UsbRequest request;
    };
    void ask();

    UsbDevice& device_;
    ControlQueue& controls_;
    const std::function<void()> gone_;
    std::deque<Waiting> waiting_;  // the first one is asked; so a recovery waits for one at most
};

}  // namespace zlk::usbscan
