#pragma once
// Reads recordings of USB transfers as pcapng or pcap: those of `zlkcam record`, and others that
// were made with Linux's usbmon and have the same link type. They may come from strangers, and be
// malicious.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "usbscan/recording/UsbEvent.h"

struct pcap;

namespace zlk {

/// A recording can't be used. The text is a whole sentence for the user.
class RecordingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// libpcap isn't installed, or lacks a function. The text is a whole sentence for the user.
class NoPcapLibrary : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Not thread-safe.
class RecordingReader {
  public:
    /// Opens a file. Throws RecordingError or NoPcapLibrary.
    explicit RecordingReader(const std::string& path);
    /// Takes over an open file, and closes it even if the constructor throws. Throws RecordingError
    /// or NoPcapLibrary.
    explicit RecordingReader(std::FILE* file);

    /// The next event; none at the end of the recording. The event's bytes are valid until the next
    /// call. Throws RecordingError if the file is cut off or can't be understood.
    std::optional<usbscan::UsbEvent> next();

  private:
    std::unique_ptr<pcap, void (*)(pcap*)> file_;
    std::uint64_t packet_ = 0;  // number of the last packet, for messages
};

}  // namespace zlk
