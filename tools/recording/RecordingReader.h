#pragma once
// Reads recordings of USB transfers: those of `zlkcam record`, and others of the same link type
// that Linux's usbmon made, as pcapng or pcap. They come from strangers.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "usbscan/recording/UsbEvent.h"

struct pcap;

namespace zlk {

/// What is wrong with a recording, in a whole sentence.
class RecordingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// That libpcap isn't installed, in a whole sentence.
class NoPcapLibrary : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class RecordingReader {
  public:
    /// Throws RecordingError, or NoPcapLibrary.
    explicit RecordingReader(const std::string& path);
    /// Takes over an open file, also where it throws.
    explicit RecordingReader(std::FILE* file);

    /// The next event, whose bytes are good until the next call; none at the end. Throws
    /// RecordingError where the file is cut off, or what follows can't be understood.
    std::optional<usbscan::UsbEvent> next();

  private:
    std::unique_ptr<pcap, void (*)(pcap*)> file_;
    std::uint64_t packet_ = 0;  // the number of the last one
};

}  // namespace zlk
