#include "foundation/CLog.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "foundation/DiagnosticQueue.h"
#include "platform/clock.h"
#include "platform/fork.h"

namespace zlk {
namespace {

constexpr std::size_t longestFormat = 1000;
constexpr std::size_t longestMessage = 90000;
/// Bytes that the test for room adds to a message's length, for head, category and terminators.
constexpr std::size_t recordAllowance = 200;
constexpr std::size_t headSize = 8;

/// Restores the last error, which belongs to the code that is being traced.
class LastErrorKeeper {
  public:
    LastErrorKeeper() : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    const DWORD error_;
};

// The process's log lives here. It is never destroyed, since threads may outlive main().
alignas(CLog) std::byte place[sizeof(CLog)];
std::once_flag placed;

}  // namespace

CLog* CLog::makeProcessLog() noexcept {
    const LastErrorKeeper keeper;
    static const DiagnosticQueue::Listener listener;
    // In a forked child none of the parent's platform objects works, and threads that held the
    // log's locks don't exist. So the child makes a new log in the place of the old one.
    static const InForkedChild handler([] {
        processLog = nullptr;
        ::new (&placed) std::once_flag;
    });
    std::call_once(placed, [] { processLog.store(::new (place) CLog, std::memory_order_release); });
    return processLog;
}

CLog::CLog() {
    CLog::openControlMemory();
}

CLog::~CLog() {
    CLog::closeLogBuffer();
    CLog::closeControlMemory();
}

void CLog::writeLine(const char* category, const char* format,
                     std::span<const FormatArgument> arguments) noexcept {
    const LastErrorKeeper keeper;
    // Lines of the platform that wait are stored first. Their number is taken once, since storing
    // them may add new ones.
    DiagnosticQueue::Line line;
    for (std::size_t waiting = DiagnosticQueue::waiting();
         waiting > 0 && DiagnosticQueue::take(line); --waiting) {
        const FormatArgument text{line.text()};
        formatAndStore(line.category, "%s", {&text, 1});
    }
    formatAndStore(category, format, arguments);
}

bool CLog::isEnabled() const noexcept {
    return isOn();
}

bool CLog::isEnabled(const char*) const noexcept {
    return isOn();
}

bool CLog::openControlMemory() noexcept {
    controlMapping = UniqueHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                                     0, sizeof(LogControl), logControlName));
    const bool made = GetLastError() != ERROR_ALREADY_EXISTS;
    if (controlMapping) {
        controlView.reset(MapViewOfFile(controlMapping.get(), FILE_MAP_WRITE, 0, 0, 0));
    }
    // Another process may have made a shorter section under this name.
    if (viewSize(controlView.get()) < sizeof(LogControl)) {
        closeControlMemory();
        return false;
    }
    control = static_cast<LogControl*>(controlView.get());
    if (made) {
        control->enabled = 0;
        control->writeOffset = 0;
        control->bufferSize = 0;
        control->startTick = GetTickCount();
    }
    return true;
}

void CLog::closeControlMemory() noexcept {
    control = nullptr;
    controlView.reset();
    controlMapping.reset();
}

bool CLog::openLogBuffer() noexcept {
    bufferMapping =
        UniqueHandle(OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, false, logBufferName));
    if (bufferMapping) {
        bufferView.reset(
            MapViewOfFile(bufferMapping.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0));
    }
    if (!bufferView) {
        closeLogBuffer();
        return false;
    }
    buffer = static_cast<std::uint8_t*>(bufferView.get());
    bufferRoom = viewSize(buffer);
    return true;
}

void CLog::closeLogBuffer() noexcept {
    buffer = nullptr;
    bufferView.reset();
    bufferMapping.reset();
}

void CLog::formatAndStore(const char* category, const char* format,
                          std::span<const FormatArgument> arguments) noexcept {
    const std::lock_guard inThisProcess(storing);
    if (!isOn()) {
        closeLogBuffer();
        mutex.reset();
        return;
    }
    if (!buffer && !openLogBuffer()) return;
    if (!mutex) mutex.reset(CreateMutexW(nullptr, false, logMutexName));
    if (!mutex) return;

    // The line is formatted before the named mutex is taken, so that other processes needn't wait
    // for the formatting.
    WCHAR wideFormat[longestFormat];
    const int formatUnits =
        MultiByteToWideChar(CP_ACP, 0, format, static_cast<int>(strnlen(format, longestFormat)),
                            wideFormat, static_cast<int>(longestFormat));
    const std::size_t units =
        formatWide(scratch.message, std::size(scratch.message),
                   {wideFormat, static_cast<std::size_t>(formatUnits)}, arguments);
    if (units > longestMessage) return;
    storeRecord(category, {scratch.message, units});
}

/// If the text can't be converted, the record has an empty message.
void CLog::storeRecord(const char* category, std::u16string_view message) noexcept {
    const std::size_t categorySize = std::strlen(category) + 1;
    // A message ends at its first zero.
    const std::u16string_view text = message.substr(0, message.find(u'\0'));
    const auto textSize = static_cast<std::size_t>(WideCharToMultiByte(
        CP_ACP, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()), scratch.bytes,
        static_cast<int>(std::size(scratch.bytes))));
    const std::size_t recordSize = headSize + categorySize + textSize + 2;

    if (WaitForSingleObject(mutex.get(), INFINITE) == WAIT_FAILED) return;
    // Sizes and offsets come from memory that any process can write, so they are limited first.
    const std::size_t size = std::min<std::size_t>(control->bufferSize, bufferRoom);
    std::size_t offset = control->writeOffset;
    if (recordSize <= size) {
        // If the record might not fit after the last one, it goes to offset 0.
        if (offset > size ||
            size - offset < std::max(recordSize, message.size() + recordAllowance)) {
            if (offset < size) std::memset(buffer + offset, 0, size - offset);
            offset = 0;
        }
        const std::uint32_t time = GetTickCount() - control->startTick;
        std::uint8_t* record = buffer + offset;
        record[0] = record[1] = 0xFF;
        for (int i = 0; i < 4; ++i) record[2 + i] = static_cast<std::uint8_t>(time >> (8 * i));
        record[6] = recordKind;
        record[7] = recordFlags;
        std::memcpy(record + headSize, category, categorySize);
        std::memcpy(record + headSize + categorySize, scratch.bytes, textSize);
        record[headSize + categorySize + textSize] = 0;
        // The offset is stored last, when the record is complete.
        control->writeOffset = static_cast<std::uint32_t>(offset + recordSize);
    }
    ReleaseMutex(mutex.get());
}

}  // namespace zlk
