#pragma once
// Answers the Control messages of clients, which ask for the device's descriptors and pipes.

#include <deque>
#include <functional>

#include "usbscan/host/ClientConnection.h"
#include "usbscan/host/ControlQueue.h"

namespace zlk::usbscan {

/// The last error for a request or a transfer that ended like this.
std::uint32_t lastErrorOf(UsbStatus status);

class ControlAnswers {
  public:
    /// `gone` is called if a request shows that the device has been unplugged.
    ControlAnswers(UsbDevice& device, ControlQueue& controls, std::function<void()> gone)
        : device_(device), controls_(controls), gone_(std::move(gone)) {}

    /// Answers a Control message with this payload, at once or later. False if the payload is too
    /// short, or if too many questions of this client are unanswered: the client should be dropped
    /// then.
    bool answer(ClientConnection& client, std::span<const std::byte> payload);
    /// Forgets the questions of a client that is about to be destroyed.
    void remove(ClientConnection& client);

  private:
    struct Waiting {
        ClientConnection* client;  // null: gone; the answer is dropped
        std::uint32_t question;
        UsbRequest request;
    };
    /// Sends the first question to the device.
    void ask();

    UsbDevice& device_;
    ControlQueue& controls_;
    const std::function<void()> gone_;
    // Only the first is in `controls_`, so that a recovery needn't wait for all.
    std::deque<Waiting> waiting_;
};

}  // namespace zlk::usbscan
