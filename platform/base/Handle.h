#pragma once
// What stands behind a HANDLE: one object a handle, in a table of the process. A call looks its
// handle up, which keeps the object alive until the call is over even if another thread closes
// the handle meanwhile.

#include <cstdint>
#include <memory>

#include "platform/error.h"
#include "platform/types.h"

namespace zlk::platform {

/// Every operation has the result of the call of its name; the default of each is
/// ERROR_INVALID_HANDLE, since a handle of that kind has no such operation.
class Handle {
  public:
    virtual ~Handle() = default;

    virtual bool read(void* buffer, DWORD size, DWORD& done);
    virtual bool write(const void* buffer, DWORD size, DWORD& done);
    virtual bool control(DWORD code, const void* input, DWORD inputSize, void* output,
                         DWORD outputSize, DWORD& returned);
    virtual bool flush();
    virtual bool size(std::int64_t& bytes);
    /// Of the file or folder that is open; -1 if it is neither.
    virtual int descriptor() const noexcept { return -1; }
    /// Runs when the handle is closed, while other calls may still be in the object.
    virtual void close() noexcept {}
};

/// The new handle of `object`; null with ERROR_NOT_ENOUGH_MEMORY.
HANDLE addHandle(std::shared_ptr<Handle> object) noexcept;

/// The object behind a handle; null with ERROR_INVALID_HANDLE.
std::shared_ptr<Handle> findHandle(HANDLE handle) noexcept;

/// The object if it is of the kind wanted; null with ERROR_INVALID_HANDLE.
template <class Kind>
std::shared_ptr<Kind> findHandleOf(HANDLE handle) noexcept {
    auto object = std::dynamic_pointer_cast<Kind>(findHandle(handle));
    if (!object) SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

/// Takes the handle out of the table and closes its object; false with ERROR_INVALID_HANDLE.
bool closeHandle(HANDLE handle) noexcept;

}  // namespace zlk::platform
