#pragma once
// The trace log of this process.
//
// Lines go to a section of shared memory that a viewer owns; the system keeps no file. Three
// named objects of the session carry it:
//
//   ZLGlimmerBoxLogCtrlMemory   16 bytes: is the log on, where does the next record start. Made by
//                               whoever comes first, held to the end of each process.
//   ZLGlimmerBoxLogBuffer       the records. Made by the viewer alone, opened while the log is on.
//   ZLGlimmerBoxLogMutex        one line is stored at a time.
//
// A viewer makes the buffer, sets `bufferSize`, and then sets `enabled` to 1. One record:
//
//   FF FF | u32 milliseconds since startTick | 3F | 00 | category 00 | message 00 | one byte's gap
//
// Records follow each other; one that doesn't fit behind the last starts again at offset 0, and
// the tail is wiped. Nothing protects what the viewer hasn't read yet. A peer can write anything
// into the control block: no offset or size from it is used beyond what the mapping really has.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

#include "platform/named_objects.h"
#include "platform/text.h"

namespace zlk {

inline constexpr WCHAR logControlName[] = u"ZLGlimmerBoxLogCtrlMemory";
inline constexpr WCHAR logBufferName[] = u"ZLGlimmerBoxLogBuffer";
inline constexpr WCHAR logMutexName[] = u"ZLGlimmerBoxLogMutex";

/// The control memory, little-endian.
struct LogControl {
    std::atomic<std::uint8_t> enabled;  ///< 1: on. Only a viewer sets it.
    std::uint8_t reserved[3];
    std::atomic<std::uint32_t> writeOffset;  ///< where the next record starts
    std::atomic<std::uint32_t> bufferSize;   ///< set by the viewer, 0 before that
    std::atomic<std::uint32_t> startTick;    ///< records count their time from this tick
};
static_assert(sizeof(LogControl) == 16 && std::atomic<std::uint8_t>::is_always_lock_free &&
              std::atomic<std::uint32_t>::is_always_lock_free);

/// What writes to the log. Any thread may call it at any time. No operation reports a failure:
/// what can't be stored is lost.
class CLog {
  public:
    /// The log of this process, made at the first call and never ended; a forked child makes its
    /// own.
    static CLog* process() noexcept {
        CLog* log = processLog.load(std::memory_order_acquire);
        return log ? log : makeProcessLog();
    }

    CLog();
    virtual ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    /// The test that every trace line begins with.
    bool isOn() const noexcept {
        return control && control->enabled.load(std::memory_order_relaxed) == 1;
    }

    /// Formats and stores one line. `format` counts up to 1,000 units; a message of more than
    /// 90,000 units is dropped.
    virtual void writeLine(const char* category, const char* format,
                           std::span<const FormatArgument> arguments) noexcept;
    virtual bool isEnabled() const noexcept;
    /// There are no filters by category.
    virtual bool isEnabled(const char* category) const noexcept;
    virtual void reserved1() noexcept {}
    virtual void reserved2() noexcept {}

  protected:
    virtual bool openControlMemory() noexcept;
    virtual void closeControlMemory() noexcept;
    virtual bool openLogBuffer() noexcept;
    virtual void closeLogBuffer() noexcept;
    virtual void formatAndStore(const char* category, const char* format,
                                std::span<const FormatArgument> arguments) noexcept;

  private:
    struct Unmap {
        void operator()(void* view) const noexcept { UnmapViewOfFile(view); }
    };
    using View = std::unique_ptr<void, Unmap>;

    static CLog* makeProcessLog() noexcept;
    void storeRecord(const char* category, std::u16string_view message) noexcept;

    static constinit inline std::atomic<CLog*> processLog{nullptr};

    LogControl* control = nullptr;
    UniqueHandle controlMapping;
    View controlView;
    UniqueHandle bufferMapping;
    View bufferView;
    std::uint8_t* buffer = nullptr;
    UniqueHandle mutex;
    std::uint8_t recordFlags = 0;
    std::uint8_t recordKind = 0x3F;

    // Threads of this process take this first and the named mutex second.
    std::mutex storing;
    std::size_t bufferRoom = 0;  // bytes that the view really has
    struct {
        WCHAR message[100000];
        char bytes[3 * 90000];  // a unit takes three bytes at most
    } scratch;                  // guarded by `storing`; too much for the stacks of our callers
};

}  // namespace zlk
