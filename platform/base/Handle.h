#pragma once
// The objects behind HANDLEs: one object for each handle, in a table of the process. A call that
// looks its handle up keeps the object alive until the call is over, even if another thread closes
// the handle meanwhile. All functions here may be called on any thread.

#include <cstdint>
#include <memory>

#include "platform/error.h"
#include "platform/types.h"

namespace zlk::platform {

/// An object behind a handle. The operations that return bool give false with the last error on
/// failure. Their defaults, for objects that lack an operation, fail with ERROR_INVALID_HANDLE.
/// Several threads may be in one object at once.
class Handle {
  public:
    virtual ~Handle() = default;

    virtual bool read(void* buffer, DWORD size, DWORD& done);
    virtual bool write(const void* buffer, DWORD size, DWORD& done);
    virtual bool control(DWORD code, const void* input, DWORD inputSize, void* output,
                         DWORD outputSize, DWORD& returned);
    virtual bool flush();
    virtual bool size(std::int64_t& bytes);
    /// The descriptor of an open file or of a volume's folder, still owned by the object; -1 if the
    /// object has none.
    virtual int descriptor() const noexcept { return -1; }
    /// Runs when the handle is closed, while other calls may still be in the object.
    virtual void close() noexcept {}
};

/// Gives `object` a new handle; null with ERROR_NOT_ENOUGH_MEMORY.
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

/// Takes the handle out of the table and runs its object's close(); false with
/// ERROR_INVALID_HANDLE. The object itself ends once no call uses it any more.
bool closeHandle(HANDLE handle) noexcept;

}  // namespace zlk::platform
