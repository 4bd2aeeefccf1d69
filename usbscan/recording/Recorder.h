#pragma once
// Turns the transfers between a device and its host into the packets of a recording.

#include <memory>
#include <string>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/recording/RecordingFile.h"
#include "usbscan/recording/RecordingFilter.h"
#include "usbscan/recording/UsbEvent.h"

namespace zlk::usbscan {

/// The device's strings, UTF-8.
struct DeviceTexts {
    std::string manufacturer, product, serial;
};

/// For the host's thread, and no call blocks. What file() returns may be used by any thread.
class Recorder {
  public:
    /// Begins the recording with the device's descriptors, as if the host had just asked for them.
    /// Takes ownership of the file. Throws std::system_error if the writing thread can't be
    /// started.
    Recorder(Descriptor file, const RecordingOptions& options, const UsbFacts& facts,
             const DeviceTexts& texts);

    RecordingFile& file() { return file_; }
    const RecordingFile& file() const { return file_; }

    /// Identifies a transfer that has begun, for the report of its end.
    struct Transfer {
        std::vector<UsbEvent> submissions;  ///< of the parts that it is recorded as
    };
    Transfer writeBegins(std::span<const std::byte> bytes, bool endsTransfer);
    Transfer controlBegins(const UsbRequest& request);
    Transfer interruptBegins();
    /// `bytes` are those that the device has sent.
    void ended(const Transfer& transfer, UsbStatus status, std::span<const std::byte> bytes = {});

    void arrived(const UsbPiece& piece);
    void readingStopped(UsbStatus why);
    void haltCleared(std::uint8_t endpoint, bool done);

  private:
    void describe(const DeviceTexts& texts);
    void descriptor(std::uint16_t value, std::uint16_t language, std::span<const std::byte> bytes);
    /// The submission of a new transfer, with the transfer's number; add() sets its time.
    UsbEvent begin(UsbEvent::Pipe pipe, std::uint8_t endpoint, std::uint32_t length);
    /// Records the event. `bytes` may be fewer than the event's length, if the rest is left out.
    void add(UsbEvent event, std::span<const std::byte> bytes, const std::string& comment);
    void addRead(const RecordingFilter::Part& part, bool endsTransfer);

    const RecordingOptions options_;
    const UsbFacts facts_;
    RecordingFile file_;
    RecordingFilter filter_;
    std::uint64_t lastTransfer_ = 0;  // the last transfer's number
};

}  // namespace zlk::usbscan
