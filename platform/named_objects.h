#pragma once
// Objects that processes share by name: sections of shared memory and mutexes; and the closing of
// every kind of handle. Every call may come from any thread.
//
// A named object exists exactly while some process holds a handle or a view of it. A process that
// dies, however it dies, loses its handles and the mutexes that it owned. Names compare with case.
// A name may begin with `Global\` (all processes of the machine) or `Local\`, which is the same as
// no prefix (the processes of one session; a session here is a user of the machine). With a null or
// empty name, the Create calls make an object without a name.
//
// A name of more than 260 units, or with a backslash or nothing after its prefix, is refused with
// ERROR_INVALID_NAME. The Open calls refuse a null or empty name in the same way. Other last errors
// are, among others: ERROR_ACCESS_DENIED (the machine root can't be used, or others may write the
// object's file), ERROR_INVALID_HANDLE (the name belongs to an object of another kind),
// ERROR_NOT_ENOUGH_MEMORY, ERROR_TOO_MANY_OPEN_FILES, ERROR_DISK_FULL, ERROR_BUSY (the object's
// file was locked by others for five seconds).
//
// A forked child is a process of its own and has none of its parent's objects. In the child, the
// handles of these objects can only be closed; any other use fails with ERROR_INVALID_HANDLE. Their
// views become private memory of the child that begins as zeros. The child opens what it needs by
// name.

#include "platform/error.h"
#include "platform/types.h"

inline constexpr DWORD PAGE_READWRITE = 4;
inline constexpr DWORD FILE_MAP_WRITE = 2;
inline constexpr DWORD FILE_MAP_READ = 4;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;
inline constexpr DWORD SYNCHRONIZE = 0x100000;
inline constexpr DWORD MUTEX_ALL_ACCESS = 0x1F0001;
// The results of WaitForSingleObject.
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

#pragma GCC visibility push(default)

/// Opens the named section, or makes it with `sizeHigh:sizeLow` bytes of zeros, at most 1 GiB.
/// `file` must be INVALID_HANDLE_VALUE (memory that belongs to no file of the caller's) and
/// `protection` PAGE_READWRITE. An existing section keeps its size, whatever size is asked for. On
/// success the last error is ERROR_ALREADY_EXISTS or ERROR_SUCCESS, and the caller owns the handle.
/// Null on failure; ERROR_INVALID_PARAMETER for an argument or size that isn't allowed.
HANDLE CreateFileMappingW(HANDLE file, const SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const WCHAR* name) noexcept;

/// Opens an existing section; null with ERROR_FILE_NOT_FOUND if there is none. If `name` is that of
/// the section in which the camera driver lists the cameras, the driver first makes that section or
/// brings it up to date.
HANDLE OpenFileMappingW(DWORD access, BOOL inherit, const WCHAR* name) noexcept;

/// CreateFileMappingW and OpenFileMappingW with names in UTF-8.
HANDLE CreateFileMappingA(HANDLE file, const SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const char* name) noexcept;
HANDLE OpenFileMappingA(DWORD access, BOOL inherit, const char* name) noexcept;

/// Maps `bytes` (0: to the end) of a section, from an offset that is a multiple of 64 KiB. `access`
/// has FILE_MAP_READ or FILE_MAP_WRITE. The view keeps the section in existence until the caller
/// unmaps it, even after the handle is closed. Null on failure, among others with
/// ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER (another access or offset, or bytes beyond the
/// section's end) and ERROR_NOT_ENOUGH_MEMORY.
void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes) noexcept;
/// Ends a view, by the address that MapViewOfFile returned; 0 with ERROR_INVALID_PARAMETER for
/// another address.
BOOL UnmapViewOfFile(const void* view) noexcept;

/// The number of bytes that can be used in a view: fewer than were mapped if another process has
/// shortened the section's file, and 0 for an address at which this process has no view.
std::size_t viewSize(const void* view) noexcept;

/// Opens the named mutex, or makes it; the calling thread owns a new one at once if `initialOwner`.
/// An existing mutex is opened and not acquired. On success the last error is ERROR_ALREADY_EXISTS
/// or ERROR_SUCCESS, and the caller owns the handle; null on failure.
HANDLE CreateMutexW(const SECURITY_ATTRIBUTES* security, BOOL initialOwner,
                    const WCHAR* name) noexcept;

/// CreateMutexW with a name in UTF-8.
HANDLE CreateMutexA(const SECURITY_ATTRIBUTES* security, BOOL initialOwner,
                    const char* name) noexcept;

/// Opens an existing mutex, whose name is in UTF-8; null with ERROR_FILE_NOT_FOUND if there is
/// none.
HANDLE OpenMutexA(DWORD access, BOOL inherit, const char* name) noexcept;

/// Acquires a mutex for this thread, which may own it several times and must release it as often.
/// `milliseconds` is 0 (don't wait) or INFINITE; any other limit fails with
/// ERROR_INVALID_PARAMETER. Returns WAIT_OBJECT_0; WAIT_ABANDONED if the mutex was acquired, but
/// its last owner had gone without releasing it; WAIT_TIMEOUT; or WAIT_FAILED with the last error.
DWORD WaitForSingleObject(HANDLE mutex, DWORD milliseconds) noexcept;

/// Releases a mutex once; 0 with ERROR_NOT_OWNER if this thread doesn't own it, or with
/// ERROR_INVALID_HANDLE.
BOOL ReleaseMutex(HANDLE mutex) noexcept;

/// Closes a handle of any kind; 0 with ERROR_INVALID_HANDLE. Calls that are under way with the
/// handle on other threads still come to their end. If the handle of a mutex is closed while a
/// thread owns the mutex, the thread owns it until the process's last handle of it is closed.
BOOL CloseHandle(HANDLE handle) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// Owns a handle and closes it in its destructor. One that is constructed with INVALID_HANDLE_VALUE
/// is empty.
class UniqueHandle {
  public:
    UniqueHandle() = default;
    explicit UniqueHandle(HANDLE handle) noexcept
        : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueHandle() { reset(); }

    HANDLE get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }
    /// Gives up ownership: the caller closes the handle that is returned.
    HANDLE release() noexcept {
        HANDLE handle = handle_;
        handle_ = nullptr;
        return handle;
    }
    /// Closes the handle held and takes over `handle`. The last error stays as it is, so that a
    /// failing caller can close first and report afterwards.
    void reset(HANDLE handle = nullptr) noexcept {
        if (handle_ && handle_ != handle) {
            const DWORD error = GetLastError();
            CloseHandle(handle_);
            SetLastError(error);
        }
        handle_ = handle;
    }

  private:
    HANDLE handle_ = nullptr;
};

}  // namespace zlk
