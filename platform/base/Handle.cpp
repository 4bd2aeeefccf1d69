#include "platform/base/Handle.h"

#include <pthread.h>

#include <mutex>
#include <new>
#include <unordered_map>
#include <utility>

#include "platform/immortal.h"

namespace zlk::platform {
namespace {

// A handle value is never used twice in a process, so that a stale handle can't reach an object
// that was opened later.
static_assert(sizeof(HANDLE) == 8, "the values of a process would run out");

struct HandleTable {
    HandleTable();

    std::mutex lock;
    std::unordered_map<HANDLE, std::shared_ptr<Handle>> objects;
    std::uintptr_t last = 0;  // the value given last
};

HandleTable& table() {
    static Immortal<HandleTable> instance;
    return *instance;
}

// A fork takes the lock first: in the child only the forking thread exists, and a lock that another
// thread held at that moment would never be released there.
HandleTable::HandleTable() {
    pthread_atfork([] { table().lock.lock(); }, [] { table().lock.unlock(); },
                   [] { table().lock.unlock(); });
}

bool refuse() {
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

}  // namespace

bool Handle::read(void*, DWORD, DWORD&) {
    return refuse();
}

bool Handle::write(const void*, DWORD, DWORD&) {
    return refuse();
}

bool Handle::control(DWORD, const void*, DWORD, void*, DWORD, DWORD&) {
    return refuse();
}

bool Handle::flush() {
    return refuse();
}

bool Handle::size(std::int64_t&) {
    return refuse();
}

HANDLE addHandle(std::shared_ptr<Handle> object) noexcept {
    try {
        HandleTable& handles = table();
        const std::lock_guard guard(handles.lock);
        // Adding the entry may throw, so `last` moves only afterwards.
        const auto handle = reinterpret_cast<HANDLE>(handles.last + 4);
        handles.objects.emplace(handle, std::move(object));
        handles.last += 4;
        return handle;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

std::shared_ptr<Handle> findHandle(HANDLE handle) noexcept {
    HandleTable& handles = table();
    const std::lock_guard guard(handles.lock);
    const auto found = handles.objects.find(handle);
    if (found != handles.objects.end()) return found->second;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

bool closeHandle(HANDLE handle) noexcept {
    std::shared_ptr<Handle> object;
    {
        HandleTable& handles = table();
        const std::lock_guard guard(handles.lock);
        const auto found = handles.objects.find(handle);
        if (found == handles.objects.end()) return refuse();
        object = std::move(found->second);
        handles.objects.erase(found);
    }
    // Outside of the lock, since closing may take time and use other handles.
    object->close();
    return true;
}

}  // namespace zlk::platform
