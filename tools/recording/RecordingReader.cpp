#include "tools/recording/RecordingReader.h"

#include <cerrno>
#include <cstring>
#include <span>

#include "tools/recording/PcapLibrary.h"

namespace zlk {
namespace {

std::FILE* openFile(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rbe");
    if (!file)
        throw RecordingError("The recording can't be opened: " + path + ": " +
                             std::strerror(errno) + ".");
    return file;
}

}  // namespace

RecordingReader::RecordingReader(const std::string& path) : RecordingReader(openFile(path)) {}

RecordingReader::RecordingReader(std::FILE* file) : file_(nullptr, nullptr) {
    // pcap takes the file over only when opening succeeds; until then the file is closed here.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> open(file, &std::fclose);
    const PcapLibrary& pcap = PcapLibrary::instance();
    char reason[PCAP_ERRBUF_SIZE] = {};
    file_ = {pcap.openFile(file, reason), pcap.close};
    if (!file_) throw RecordingError("This is no recording: " + std::string(reason) + ".");
    static_cast<void>(open.release());
    if (pcap.linkType(file_.get()) != usbscan::usbEventLinkType)
        throw RecordingError(
            "This isn't a recording of USB transfers as Linux records them "
            "(link type 220), but of link type " +
            std::to_string(pcap.linkType(file_.get())) + ".");
}

std::optional<usbscan::UsbEvent> RecordingReader::next() {
    const PcapLibrary& pcap = PcapLibrary::instance();
    for (;;) {
        pcap_pkthdr* header = nullptr;
        const unsigned char* bytes = nullptr;
        const int result = pcap.nextPacket(file_.get(), &header, &bytes);
        // This "error" is the regular end of the file.
        if (result == PCAP_ERROR_BREAK) return std::nullopt;
        ++packet_;
        if (result != 1)
            throw RecordingError("The recording can't be read beyond its packet " +
                                 std::to_string(packet_ - 1) + ": " + pcap.errorText(file_.get()) +
                                 ".");
        const auto event =
            usbscan::readEvent(std::as_bytes(std::span(bytes, std::size_t{header->caplen})));
        if (event) return event;
        // readEvent gives none for isochronous transfers, which no still camera has and which are
        // skipped. Byte 9 is the transfer's type; 0 is isochronous.
        if (header->caplen < 10 || bytes[9] != 0)
            throw RecordingError("Packet " + std::to_string(packet_) +
                                 " of the recording is no USB transfer, or lies about its length.");
    }
}

}  // namespace zlk
