#pragma once
// libpcap, which reads recordings. It is loaded only when one is read, since it brings D-Bus,
// systemd and several compressors with it, which every other start of a program would pay for.

#include <pcap/pcap.h>

namespace zlk {

class PcapLibrary {
  public:
    /// Loaded at the first call, and kept. Throws NoPcapLibrary.
    static const PcapLibrary& instance();

    const decltype(&pcap_fopen_offline) openFile;
    const decltype(&pcap_close) close;
    const decltype(&pcap_datalink) linkType;
    const decltype(&pcap_next_ex) nextPacket;
    const decltype(&pcap_geterr) errorText;

  private:
    explicit PcapLibrary(void* library);
};

}  // namespace zlk
