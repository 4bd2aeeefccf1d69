#include "foundation/SystemVersion.h"

#include "platform/system.h"

namespace zlk {

bool isVistaOrLater() {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           info.dwMajorVersion >= 6;
}

}  // namespace zlk
