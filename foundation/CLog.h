#pragma once
// The trace log of this process.
//
// Lines go to a section of shared memory that belongs to a viewer program; no file is written.
// Three named objects of the session carry the log:
//
//   ZLGlimmerBoxLogCtrlMemory   16 bytes: whether the log is on, and where the next record starts.
//                               Made by the first process that needs it, held open by all.
//   ZLGlimmerBoxLogBuffer       the records. Made by the viewer, opened while the log is on.
//   ZLGlimmerBoxLogMutex        lets one line at a time be stored.
//
// A viewer makes the buffer, sets `bufferSize`, and then sets `enabled` to 1. A record is:
//
//   FF FF | u32 milliseconds since startTick | 3F | 00 | category 00 | message 00 | one byte's gap
//
// Records follow each other. One that might not fit after the last record is stored at offset 0,
// and the tail of the buffer is wiped; what the viewer hasn't read yet is overwritten. One that is
// larger than the buffer is lost. Any process can write anything into the control block, so no
// offset or size from it is used beyond the bytes that are mapped.

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

/// The control memory, which all processes share; little-endian.
struct LogControl {
    std::atomic<std::uint8_t> enabled;  ///< 1: the log is on; only a viewer turns it on
    std::uint8_t reserved[3];
    std::atomic<std::uint32_t> writeOffset;  ///< offset of the next record in the buffer
    std::atomic<std::uint32_t> bufferSize;   ///< bytes; set by the viewer, 0 before that
    std::atomic<std::uint32_t> startTick;    ///< GetTickCount() from which records count their time
};
static_assert(sizeof(LogControl) == 16 && std::atomic<std::uint8_t>::is_always_lock_free &&
              std::atomic<std::uint32_t>::is_always_lock_free);

/// Writes to the log. Any thread may call a public function at any time. A line that can't be
/// stored is lost, and nobody is told.
class CLog {
  public:
    /// The log of this process, made by the first call and never destroyed. A forked child makes
    /// its own.
    static CLog* process() noexcept {
        CLog* log = processLog.load(std::memory_order_acquire);
        return log ? log : makeProcessLog();
    }

    CLog();
    virtual ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    /// Whether a viewer has the log on. Every trace line begins with this test, so it is kept to
    /// one atomic load.
    bool isOn() const noexcept {
        return control && control->enabled.load(std::memory_order_relaxed) == 1;
    }

    /// Stores the platform's waiting diagnostics (see DiagnosticQueue.h), and then formats and
    /// stores one line. Only the first 1,000 bytes of `format` are used, and a message of more than
    /// 90,000 units is dropped. The arguments are borrowed.
    virtual void writeLine(const char* category, const char* format,
                           std::span<const FormatArgument> arguments) noexcept;
    virtual bool isEnabled() const noexcept;
    /// Whether the log is on, which is the same for every category.
    virtual bool isEnabled(const char* category) const noexcept;
    virtual void reserved1() noexcept {}
    virtual void reserved2() noexcept {}

  protected:
    /// These open and close the sections of shared memory. False if a section can't be opened, or
    /// if the control memory is too short. For the buffer, `storing` must be held, except in the
    /// destructor.
    virtual bool openControlMemory() noexcept;
    virtual void closeControlMemory() noexcept;
    virtual bool openLogBuffer() noexcept;
    virtual void closeLogBuffer() noexcept;
    /// Stores a line if the log is on. Otherwise closes the buffer and the mutex, which a viewer
    /// may then replace.
    virtual void formatAndStore(const char* category, const char* format,
                                std::span<const FormatArgument> arguments) noexcept;

  private:
    struct Unmap {
        void operator()(void* view) const noexcept { UnmapViewOfFile(view); }
    };
    using View = std::unique_ptr<void, Unmap>;

    static CLog* makeProcessLog() noexcept;
    /// Writes one record into the buffer. `storing` must be held.
    void storeRecord(const char* category, std::u16string_view message) noexcept;

    static constinit inline std::atomic<CLog*> processLog{nullptr};

    LogControl* control = nullptr;  // in `controlView`; null: there is no log
    UniqueHandle controlMapping;
    View controlView;
    UniqueHandle bufferMapping;
    View bufferView;
    std::uint8_t* buffer = nullptr;  // in `bufferView`; null: not open. Guarded by `storing`
    UniqueHandle mutex;
    std::uint8_t recordFlags = 0;
    std::uint8_t recordKind = 0x3F;

    // Lock order: threads of this process take this lock first, and the named mutex second.
    std::mutex storing;
    std::size_t bufferRoom = 0;  // bytes of the buffer that are mapped
    struct {
        WCHAR message[100000];
        char bytes[3 * 90000];  // a unit takes at most three bytes
    } scratch;                  // guarded by `storing`; too large for the stacks of our callers
};

}  // namespace zlk
