#pragma once
// Turns what a still-image device and its host do into a recording.

#include <memory>
#include <string>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/recording/RecordingFile.h"
#include "usbscan/recording/RecordingFilter.h"
#include "usbscan/recording/UsbEvent.h"

namespace zlk::usbscan {

/// Texts of a device, UTF-8.
struct DeviceTexts {
    std::string manufacturer, product, serial;
};

class Recorder {
  public:
    /// Begins with what the device is, as if it had just been asked for its descriptors. Throws
    /// std::system_error.
    Recorder(Descriptor file, const RecordingOptions& options, const UsbFacts& facts,
             const DeviceTexts& texts);

    RecordingFile& file() { return file_; }
    const RecordingFile& file() const { return file_; }

    /// A transfer that has begun, for what tells its end.
    struct Transfer {
        std::vector<UsbEvent> submissions;  ///< of its parts
    };
    Transfer writeBegins(std::span<const std::byte> bytes, bool endsTransfer);
    Transfer controlBegins(const UsbRequest& request);
    Transfer interruptBegins();
    /// `bytes`: that came.
    void ended(const Transfer& transfer, UsbStatus status, std::span<const std::byte> bytes = {});

    void arrived(const UsbPiece& piece);
    void readingStopped(UsbStatus why);
    void haltCleared(std::uint8_t endpoint, bool done);

  private:
    void describe(const DeviceTexts& texts);
    void descriptor(std::uint16_t value, std::uint16_t language, std::span<const std::byte> bytes);
    UsbEvent begin(UsbEvent::Pipe pipe, std::uint8_t endpoint, std::uint32_t length);
    /// `event` with these bytes, which may be fewer than it says.
    void add(UsbEvent event, std::span<const std::byte> bytes, const std::string& comment);
    void addRead(const RecordingFilter::Part& part, bool endsTransfer);

    const RecordingOptions options_;
    const UsbFacts facts_;
    RecordingFile file_;
    RecordingFilter filter_;
    std::uint64_t lastTransfer_ = 0;
};

}  // namespace zlk::usbscan
