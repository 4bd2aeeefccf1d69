#include "tools/zlkcam/TraceViewer.h"

#include <algorithm>
#include <atomic>

#include "platform/clock.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

constexpr DWORD controlSize = 16;
constexpr DWORD bufferSize = 8 * 1024 * 1024;
// Offsets in the control block.
constexpr std::size_t enabledAt = 0, writeOffsetAt = 4, bufferSizeAt = 8, startTickAt = 12;
constexpr int tries = 2000;  // a writer holds the mutex only while it stores a record

std::atomic_ref<DWORD> field(const SharedView& control, std::size_t offset) {
    return std::atomic_ref(*reinterpret_cast<DWORD*>(control.bytes().data() + offset));
}

void setEnabled(const SharedView& control, BYTE enabled) {
    std::atomic_ref(control.bytes()[enabledAt]).store(enabled);
}

/// The claim of the only viewer: its mutex must not have existed before.
UniqueHandle claimViewer() {
    UniqueHandle claim(CreateMutexW(nullptr, 0, u"ZLGlimmerBoxLogViewer"));
    if (claim && GetLastError() != ERROR_ALREADY_EXISTS) return claim;
    if (claim)
        throw Failure(ExitStatus::ViewerRunning, "Another trace viewer is running.",
                      "End it first: one viewer at a time follows the log.");
    throw Failure(ExitStatus::FileUnusable, "The log can't be opened: " + reasonText() + ".");
}

}  // namespace

SharedView::SharedView(const WCHAR* name, DWORD bytes)
    : section_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, bytes, name)) {
    existed_ = section_ && GetLastError() == ERROR_ALREADY_EXISTS;
    void* view =
        section_ ? MapViewOfFile(section_.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0) : nullptr;
    if (!view)
        throw Failure(ExitStatus::FileUnusable, "The log can't be opened: " + reasonText() + ".");
    bytes_ = {static_cast<BYTE*>(view), viewSize(view)};
}

SharedView::~SharedView() {
    UnmapViewOfFile(bytes_.data());
}

TraceViewer::TraceViewer()
    : claim_(claimViewer()),
      control_(u"ZLGlimmerBoxLogCtrlMemory", controlSize),
      buffer_(u"ZLGlimmerBoxLogBuffer", bufferSize),
      mutex_(CreateMutexW(nullptr, 0, u"ZLGlimmerBoxLogMutex")) {
    // The section may have existed before, with another size.
    if (control_.bytes().size() < controlSize || !mutex_)
        throw Failure(ExitStatus::FileUnusable, "The log's shared memory can't be used.");
    // Writers are switched off before the buffer is set up.
    setEnabled(control_, 0);
    // Times count from here if the log is new; a log that goes on keeps its start.
    if (!control_.existed()) field(control_, startTickAt).store(GetTickCount());

    for (int waited = 0; !tryLock(); ++waited) {
        if (waited == 100)
            throw Failure(ExitStatus::FileUnusable,
                          "Some program holds the log, and doesn't let go of it.",
                          "Look for a stopped program that uses the components, and end it.");
        Sleep(20);
    }
    // Old records are erased under the lock, so that no writer is in the middle of one.
    std::fill(buffer_.bytes().begin(), buffer_.bytes().end(), BYTE{0});
    field(control_, writeOffsetAt).store(0);
    field(control_, bufferSizeAt).store(static_cast<DWORD>(buffer_.bytes().size()));
    ReleaseMutex(mutex_.get());
    setEnabled(control_, 1);
}

TraceViewer::~TraceViewer() {
    switchOff();
}

bool TraceViewer::fetch(TraceReader& reader) {
    if (!tryLock()) return false;
    const auto ring = std::span<const BYTE>(buffer_.bytes());
    DWORD offset = field(control_, writeOffsetAt).load();
    // Another process may have written nonsense into the control block. It is corrected here, so
    // that writers work again.
    field(control_, bufferSizeAt).store(static_cast<DWORD>(ring.size()));
    if (offset > ring.size()) {
        offset = 0;
        field(control_, writeOffsetAt).store(0);
    }
    try {
        reader.fetch(ring, offset);
    } catch (...) {
        ReleaseMutex(mutex_.get());
        throw;
    }
    ReleaseMutex(mutex_.get());
    return true;
}

void TraceViewer::switchOff() {
    setEnabled(control_, 0);
}

bool TraceViewer::tryLock() const {
    for (int i = 0; i < tries; ++i) {
        // An abandoned mutex is taken over, because its owner has died.
        const DWORD result = WaitForSingleObject(mutex_.get(), 0);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) return true;
    }
    return false;
}

}  // namespace zlk
