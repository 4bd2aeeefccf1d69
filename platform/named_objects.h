#pragma once
// Sections of shared memory and mutexes with names, and the closing of every kind of handle.
//
// A named object exists exactly while some process holds a handle of it. A process that dies,
// however it dies, lets go of its handles, and of the mutexes that it owned. Names compare with
// case. A name may begin with `Global\` (all processes of the machine) or `Local\`, which is the
// same as no prefix (the processes of one session; a session here is a user of the machine). A
// null or empty name makes an object without one.
//
// A name of more than 260 units, or with a backslash behind its prefix, is refused with
// ERROR_INVALID_NAME. Other last errors: ERROR_ACCESS_DENIED (the machine root can't be used),
// ERROR_INVALID_HANDLE (the name belongs to an object of another kind), ERROR_NOT_ENOUGH_MEMORY,
// ERROR_TOO_MANY_OPEN_FILES, ERROR_DISK_FULL, ERROR_BUSY (for five seconds a stopped process has
// been about to make or open this very object).
//
// A forked child is a process of its own and has none of its parent's objects: their handles fail
// with ERROR_INVALID_HANDLE, their views are memory of its own that begins as zeros. It opens what
// it needs by name.

#include "platform/error.h"
#include "platform/types.h"

inline constexpr DWORD PAGE_READWRITE = 4;
inline constexpr DWORD FILE_MAP_WRITE = 2;
inline constexpr DWORD FILE_MAP_READ = 4;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;
inline constexpr DWORD SYNCHRONIZE = 0x100000;
inline constexpr DWORD MUTEX_ALL_ACCESS = 0x1F0001;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

#pragma GCC visibility push(default)

/// Opens the named section, or makes it, `sizeHigh:sizeLow` bytes of zeros, at most 1 GiB. `file`
/// is INVALID_HANDLE_VALUE: memory of its own. An existing section keeps its size whatever is
/// asked for. On success the last error is ERROR_ALREADY_EXISTS or ERROR_SUCCESS; null on failure.
HANDLE CreateFileMappingW(HANDLE file, const SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const WCHAR* name) noexcept;

/// Opens an existing section; null with ERROR_FILE_NOT_FOUND if there is none. Never makes one,
/// and asking disturbs nobody who is about to.
HANDLE OpenFileMappingW(DWORD access, BOOL inherit, const WCHAR* name) noexcept;

/// The same by names in UTF-8.
HANDLE CreateFileMappingA(HANDLE file, const SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const char* name) noexcept;
HANDLE OpenFileMappingA(DWORD access, BOOL inherit, const char* name) noexcept;

/// Maps `bytes` (0: to the end) from the offset on, which is a multiple of 64 KiB. The view keeps
/// the section existing until it is unmapped. Null on failure: ERROR_INVALID_HANDLE,
/// ERROR_INVALID_PARAMETER (beyond the section), ERROR_NOT_ENOUGH_MEMORY.
void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes) noexcept;
BOOL UnmapViewOfFile(const void* view) noexcept;

/// The bytes that a view really has, whatever the processes that share it claim; 0 for an address
/// that isn't one of a view of this process.
std::size_t viewSize(const void* view) noexcept;

/// Opens the named mutex, or makes it; the maker owns it at once if `initialOwner`. An existing
/// one is opened and not acquired. On success the last error is ERROR_ALREADY_EXISTS or
/// ERROR_SUCCESS; null on failure.
HANDLE CreateMutexW(const SECURITY_ATTRIBUTES* security, BOOL initialOwner,
                    const WCHAR* name) noexcept;

HANDLE CreateMutexA(const SECURITY_ATTRIBUTES* security, BOOL initialOwner,
                    const char* name) noexcept;

/// Opens an existing mutex; null with ERROR_FILE_NOT_FOUND if there is none.
HANDLE OpenMutexA(DWORD access, BOOL inherit, const char* name) noexcept;

/// Acquires a mutex for this thread, which may own it several times. `milliseconds` is 0 or
/// INFINITE; nobody here needs another limit, and any other is ERROR_INVALID_PARAMETER. Returns
/// WAIT_OBJECT_0; WAIT_ABANDONED if it was acquired and its last owner died with it;
/// WAIT_TIMEOUT; WAIT_FAILED with the last error.
DWORD WaitForSingleObject(HANDLE mutex, DWORD milliseconds) noexcept;

/// 0 with ERROR_NOT_OWNER if this thread doesn't own it.
BOOL ReleaseMutex(HANDLE mutex) noexcept;

/// Closes a handle of any kind. A mutex that is closed while a thread owns it stays owned until
/// its last handle in the process goes. 0 with ERROR_INVALID_HANDLE.
BOOL CloseHandle(HANDLE handle) noexcept;

#pragma GCC visibility pop

namespace zlk {

/// A handle with an owner. Empty for null and for INVALID_HANDLE_VALUE.
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
    HANDLE release() noexcept {
        HANDLE handle = handle_;
        handle_ = nullptr;
        return handle;
    }
    /// Keeps the last error as it is, so that a failing caller can close first and report then.
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
