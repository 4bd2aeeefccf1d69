// Which driver family this system has.

#include "platform/system.h"
#include "transport/CVistaUSBTransport.h"
#include "transport/PtpSyncController.h"
#include "transport/PtpSyncVista.h"
#include "transport/WindowsUSB.h"

namespace zlk {
namespace {

bool hasYoungerFamily() {
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(&version) && version.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           version.dwMajorVersion >= 6;
}

}  // namespace

std::unique_ptr<TransportInterface> createTransport() {
    if (hasYoungerFamily()) return std::make_unique<CVistaUSBTransport>();
    return std::make_unique<WindowsUSB>();
}

std::unique_ptr<PTPSyncInterface> createPortArbiter() {
    if (hasYoungerFamily()) return std::make_unique<PtpSyncVista>();
    return std::make_unique<PtpSyncController>();
}

}  // namespace zlk
