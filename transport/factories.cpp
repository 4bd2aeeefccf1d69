// Makes the transport and the arbiter for the driver family that this system is set to use.

#include "platform/system.h"
#include "transport/CVistaUSBTransport.h"
#include "transport/PtpSyncController.h"
#include "transport/PtpSyncVista.h"
#include "transport/WindowsUSB.h"

namespace zlk {

std::unique_ptr<TransportInterface> createTransport() {
    if (isVistaOrLater()) return std::make_unique<CVistaUSBTransport>();
    return std::make_unique<WindowsUSB>();
}

std::unique_ptr<PTPSyncInterface> createPortArbiter() {
    if (isVistaOrLater()) return std::make_unique<PtpSyncVista>();
    return std::make_unique<PtpSyncController>();
}

}  // namespace zlk
