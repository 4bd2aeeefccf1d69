#include "platform/named_objects.h"

#include <memory>
#include <utility>

#include "platform/base/Handle.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/objects/DeviceSection.h"
#include "platform/objects/NamedMutex.h"
#include "platform/objects/NamedSection.h"
#include "platform/text.h"

namespace {

using namespace zlk::platform;

// A handle of a named object; several handles may share one object.
template <class Kind>
struct NamedHandle : Handle {
    explicit NamedHandle(std::shared_ptr<Kind> opened) : object(std::move(opened)) {}
    const std::shared_ptr<Kind> object;
};
using MutexHandle = NamedHandle<NamedMutex>;
using SectionHandle = NamedHandle<NamedSection>;

/// Opens a handle of the object that has this name already or, if `mode` allows making one, of
/// `fresh`.
template <class Kind>
HANDLE openHandle(const std::shared_ptr<Kind>& fresh, const WCHAR* name, OpenMode mode) {
    auto object = openNamedObject(fresh, name, mode);
    if (!object) return nullptr;
    // The last error tells the caller whether the object was made, so it has to outlast addHandle.
    const DWORD outcome = GetLastError();
    const HANDLE handle = addHandle(
        std::make_shared<NamedHandle<Kind>>(std::static_pointer_cast<Kind>(std::move(object))));
    if (handle) SetLastError(outcome);
    return handle;
}

}  // namespace

HANDLE CreateFileMappingW(HANDLE file, const SECURITY_ATTRIBUTES*, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, const WCHAR* name) noexcept {
    if (file != INVALID_HANDLE_VALUE || protection != PAGE_READWRITE) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return withoutExceptions<HANDLE>(nullptr, [&] {
        const std::uint64_t size = std::uint64_t{sizeHigh} << 32 | sizeLow;
        return openHandle(std::make_shared<NamedSection>(size), name, OpenMode::MakeOrOpen);
    });
}

HANDLE OpenFileMappingW(DWORD, BOOL, const WCHAR* name) noexcept {
    if (!name || !*name) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    return withoutExceptions<HANDLE>(nullptr, [&] {
        refreshDeviceSection(name);
        return openHandle(std::make_shared<NamedSection>(0), name, OpenMode::OpenOnly);
    });
}

HANDLE CreateFileMappingA(HANDLE file, const SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const char* name) noexcept {
    return withoutExceptions<HANDLE>(nullptr, [&] {
        return CreateFileMappingW(file, security, protection, sizeHigh, sizeLow,
                                  name ? wideText(name).c_str() : nullptr);
    });
}

HANDLE OpenFileMappingA(DWORD access, BOOL inherit, const char* name) noexcept {
    return withoutExceptions<HANDLE>(nullptr, [&] {
        return OpenFileMappingW(access, inherit, name ? wideText(name).c_str() : nullptr);
    });
}

void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes) noexcept {
    const auto section = findHandleOf<SectionHandle>(mapping);
    if (!section) return nullptr;
    if (!(access & (FILE_MAP_READ | FILE_MAP_WRITE))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return withoutExceptions<void*>(nullptr, [&] {
        const std::uint64_t offset = std::uint64_t{offsetHigh} << 32 | offsetLow;
        return section->object->map(access & FILE_MAP_WRITE, offset, bytes);
    });
}

BOOL UnmapViewOfFile(const void* view) noexcept {
    if (NamedSection::unmap(view)) return 1;
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}

std::size_t viewSize(const void* view) noexcept {
    return NamedSection::viewSize(view);
}

HANDLE CreateMutexW(const SECURITY_ATTRIBUTES*, BOOL initialOwner, const WCHAR* name) noexcept {
    return withoutExceptions<HANDLE>(nullptr, [&] {
        return openHandle(std::make_shared<NamedMutex>(initialOwner != 0), name,
                          OpenMode::MakeOrOpen);
    });
}

HANDLE CreateMutexA(const SECURITY_ATTRIBUTES* security, BOOL initialOwner,
                    const char* name) noexcept {
    return withoutExceptions<HANDLE>(nullptr, [&] {
        return CreateMutexW(security, initialOwner, name ? wideText(name).c_str() : nullptr);
    });
}

HANDLE OpenMutexA(DWORD, BOOL, const char* name) noexcept {
    if (!name || !*name) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    return withoutExceptions<HANDLE>(nullptr, [&] {
        return openHandle(std::make_shared<NamedMutex>(false), wideText(name).c_str(),
                          OpenMode::OpenOnly);
    });
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept {
    const auto mutex = findHandleOf<MutexHandle>(handle);
    if (!mutex) return WAIT_FAILED;
    if (milliseconds != 0 && milliseconds != INFINITE) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return mutex->object->wait(milliseconds == INFINITE);
}

BOOL ReleaseMutex(HANDLE handle) noexcept {
    const auto mutex = findHandleOf<MutexHandle>(handle);
    return mutex && mutex->object->release();
}

BOOL CloseHandle(HANDLE handle) noexcept {
    return closeHandle(handle);
}
