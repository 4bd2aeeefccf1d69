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
    // Set before the handle is looked up, because for an unknown handle nobody else sets it.
    *returned = 0;
    const auto handle = findHandle(device);
    return handle && withoutExceptions(false, [&] {
               return handle->control(code, input, inputSize, output, outputSize, *returned);
           });
}
