#include "tools/recording/PcapLibrary.h"

#include <dlfcn.h>

#include "tools/recording/RecordingReader.h"

namespace zlk {
namespace {

// The name has the version in it, because the plain name is only installed for developers.
constexpr char fileName[] = "libpcap.so.0.8";

[[noreturn]] void fail() {
    const char* const reason = ::dlerror();
    throw NoPcapLibrary("Recordings can't be read, since libpcap isn't installed: " +
                        std::string(reason ? reason : fileName) + ".");
}

void* load() {
    void* const library = ::dlopen(fileName, RTLD_LAZY | RTLD_LOCAL);
    if (!library) fail();
    return library;
}

template <class Function>
Function find(void* library, const char* name) {
    void* const function = ::dlsym(library, name);
    if (!function) fail();
    // POSIX lets the object pointer of dlsym be converted to a function.
    return reinterpret_cast<Function>(function);
}

}  // namespace

const PcapLibrary& PcapLibrary::instance() {
    static const PcapLibrary library(load());
    return library;
}

PcapLibrary::PcapLibrary(void* library)
    : openFile(find<decltype(&pcap_fopen_offline)>(library, "pcap_fopen_offline")),
      close(find<decltype(&pcap_close)>(library, "pcap_close")),
      linkType(find<decltype(&pcap_datalink)>(library, "pcap_datalink")),
      nextPacket(find<decltype(&pcap_next_ex)>(library, "pcap_next_ex")),
      errorText(find<decltype(&pcap_geterr)>(library, "pcap_geterr")) {}

}  // namespace zlk
