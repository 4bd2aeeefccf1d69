#include "foundation/SystemVersion.h"

#include "platform/system.h"

namespace zlk {

bool isNtFamily(unsigned leastMajorVersion) {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExW(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT &&
           info.dwMajorVersion >= leastMajorVersion;
}

}  // namespace zlk
