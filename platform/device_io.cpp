#include "platform/device_io.h"

#include "platform/base/Handle.h"
#include "platform/base/WithoutExceptions.h"

using namespace zlk::platform;

BOOL DeviceIoControl(HANDLE device, DWORD code, const void* input, DWORD inputSize, void* output,
                     DWORD outputSize, DWORD* returned, void*) noexcept {
    if (!returned) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    // Nobody else sets it if the handle is unknown or takes no codes.
    *returned = 0;
    const auto handle = findHandle(device);
    return handle && withoutExceptions(false, [&] {
               return handle->control(code, input, inputSize, output, outputSize, *returned);
           });
}
