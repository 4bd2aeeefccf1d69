// Fuzzes the tables of ports in shared memory, into which any other process may have written
// anything.

#include <cstring>
#include <memory>

#include "fuzz/Input.h"
#include "platform/named_objects.h"
#include "platform/text.h"
#include "ptp/PTPCommErrors.h"
#include "transport/PtpSyncController.h"
#include "transport/PtpSyncVista.h"

using namespace zlk;
using zlk::fuzz::Input;

namespace {

/// A shared section as another process may have made it: of any size, with any bytes.
class PeerSection {
  public:
    PeerSection(const char* name, DWORD usual, Input& input) {
        const std::uint8_t shape = input.byte();
        // Mostly of the usual size, as others are rejected early.
        size_ = shape == 0 ? 1 + input.byte() : usual;
        mapping_ = UniqueHandle(
            CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size_, name));
        view_ = static_cast<std::uint8_t*>(MapViewOfFile(mapping_.get(), FILE_MAP_WRITE, 0, 0, 0));
        for (int pieces = shape % 16; view_ && pieces > 0; --pieces) scribble(input);
    }
    ~PeerSection() { UnmapViewOfFile(view_); }

  private:
    // Writes some bytes somewhere in the section.
    void scribble(Input& input) {
        const std::size_t at = (input.byte() << 4 | input.byte() % 16) % size_;
        const std::string bytes = input.narrow(input.byte());
        std::memcpy(view_ + at, bytes.data(), std::min<std::size_t>(bytes.size(), size_ - at));
    }
    UniqueHandle mapping_;
    std::uint8_t* view_;
    DWORD size_;
};

/// Uses one family's table with any ports. Errors are allowed, and crashes aren't.
template <class Arbiter>
void use(Input& input) {
    // The constructor already fails if the table can't be used.
    std::unique_ptr<PTPSyncInterface> made;
    try {
        made = std::make_unique<Arbiter>();
    } catch (PTPCommErrors) {
        return;
    }
    PTPSyncInterface& arbiter = *made;
    for (int calls = input.byte() % 8; calls > 0; --calls) {
        const std::u16string port = wideText(input.narrow(input.byte() % 24));
        try {
            switch (input.byte() % 5) {
                case 0:
                    arbiter.setPort(port.c_str());
                    break;
                case 1:
                    arbiter.removePort(port.c_str());
                    break;
                case 2:
                    arbiter.findPortbyVidPid(input.byte(), 0);
                    break;
                default:
                    arbiter.releaseMutex(port.c_str(), arbiter.getMutex(port.c_str()));
            }
        } catch (PTPCommErrors) {
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const PeerSection first("Global\\ZlPtpHandlesToCameras", 1024, input);
    const PeerSection second("Global\\ZlPtpWPDHandlesToCameras", 4096, input);
    // Both families of drivers have a table of their own.
    use<PtpSyncController>(input);
    use<PtpSyncVista>(input);
    return 0;
}
