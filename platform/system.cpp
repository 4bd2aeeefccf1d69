#include "platform/system.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>
#include <string>

#include "platform/error.h"
#include "platform/settings/PlatformSettings.h"
#include "platform/text.h"

namespace {

// ASCII's control characters become blanks: a line end would end the line, and ESC would begin an
// escape sequence of the terminal.
void appendOnOneLine(std::string& line, const WCHAR* text) {
    for (const char c : utf8Text(text ? text : u""))
        line += static_cast<unsigned char>(c) < ' ' || c == '\x7F' ? ' ' : c;
}

/// While an object lives, its thread's write to a pipe without a reader fails with EPIPE, and
/// SIGPIPE doesn't end the process. The signal is blocked for this thread only. At the end it is
/// discarded, unless it was pending at the beginning.
class WithoutPipeSignal {
  public:
    WithoutPipeSignal() noexcept {
        sigset_t pending;
        ::sigpending(&pending);
        wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
        ::sigemptyset(&signal_);
        ::sigaddset(&signal_, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~WithoutPipeSignal() {
        const timespec now{};
        if (!wasPending_) ::sigtimedwait(&signal_, nullptr, &now);
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    WithoutPipeSignal(const WithoutPipeSignal&) = delete;
    WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

  private:
    sigset_t signal_, before_;
    bool wasPending_;
};

}  // namespace

BOOL GetVersionExW(OSVERSIONINFOW* info) noexcept {
    if (!info || info->dwOSVersionInfoSize != sizeof *info) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const bool six = zlk::platform::platformText(u"SystemVersion") == u"6.0";
    *info = {};
    info->dwOSVersionInfoSize = sizeof *info;
    info->dwMajorVersion = six ? 6 : 5;
    info->dwMinorVersion = six ? 0 : 1;
    info->dwBuildNumber = six ? 6000 : 2600;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    return 1;
}

int MulDiv(int number, int numerator, int denominator) noexcept {
    if (denominator == 0) return -1;
    const std::int64_t product = std::int64_t{number} * numerator;
    const std::int64_t divisor = denominator;
    // Adding half of the divisor, away from zero, turns the division's truncation into rounding.
    const std::int64_t half = (divisor < 0 ? -divisor : divisor) / 2;
    const std::int64_t result = (product < 0 ? product - half : product + half) / divisor;
    if (result < std::numeric_limits<int>::min() || result > std::numeric_limits<int>::max())
        return -1;
    return static_cast<int>(result);
}

int MessageBoxW(void*, const WCHAR* text, const WCHAR* caption, UINT) noexcept {
    try {
        std::string line;
        appendOnOneLine(line, caption);
        line += ": ";
        appendOnOneLine(line, text);
        line += '\n';
        const WithoutPipeSignal scope;
        // The whole line goes in one write: in several, other processes' lines could come between.
        while (write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
        }
    } catch (const std::bad_alloc&) {
        // A message that can't be shown is still answered with IDOK, since callers can't do
        // anything else.
    }
    return IDOK;
}
