#pragma once
// Gives access to libpcap, which reads recordings. It is loaded only when a recording is read,
// because it brings D-Bus, systemd and several compressors with it, and every start of a program
// would pay for them.

#include <pcap/pcap.h>

namespace zlk {

class PcapLibrary {
  public:
    /// The library, loaded at the first call and never unloaded. Throws NoPcapLibrary. Thread-safe.
    static const PcapLibrary& instance();

    /// The functions that are used, under clearer names.
    const decltype(&pcap_fopen_offline) openFile;
    const decltype(&pcap_close) close;
    const decltype(&pcap_datalink) linkType;
    const decltype(&pcap_next_ex) nextPacket;
    const decltype(&pcap_geterr) errorText;

  private:
    explicit PcapLibrary(void* library);
};

}  // namespace zlk
