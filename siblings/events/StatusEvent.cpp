#include "siblings/events/StatusEvent.h"

#include <array>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/registry.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "siblings/events/EventLine.h"

namespace zlk {
namespace {

constexpr LONG informative = 1;

/// The path of the file; empty if it can't be read from the settings.
std::u16string logFile() {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform", 0, KEY_READ,
                      &opened) != ERROR_SUCCESS) {
        return {};
    }
    const RegistryKey key(opened);
    std::array<WCHAR, 1024> path{};
    DWORD size = sizeof(path) - sizeof(WCHAR);
    DWORD type = REG_NONE;
    const LSTATUS read = RegQueryValueExW(key.get(), u"EventLog", nullptr, &type,
                                          reinterpret_cast<BYTE*>(path.data()), &size);
    return read == ERROR_SUCCESS && type == REG_SZ ? path.data() : u"";
}

/// The present time, in UTC, because processes with different time zones may write to the same
/// file.
std::string timeText() {
    FILETIME now;
    SYSTEMTIME parts;
    GetSystemTimeAsFileTime(&now);
    FileTimeToSystemTime(&now, &parts);
    return utf8Text(formatText(u"%04d-%02d-%02dT%02d:%02d:%02dZ", parts.wYear, parts.wMonth,
                               parts.wDay, parts.wHour, parts.wMinute, parts.wSecond));
}

/// Appends one line. Several processes may do this at once, so each line is a single write in
/// append mode. Such a write goes to the file's end at that moment.
HRESULT append(const std::u16string& path, const std::string& line) {
    const auto open = [&path](DWORD disposition) {
        return UniqueHandle(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    UniqueHandle file = open(CREATE_NEW);
    if (!file && GetLastError() == ERROR_FILE_EXISTS) file = open(OPEN_EXISTING);
    DWORD written = 0;
    if (!file ||
        !WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    return S_OK;
}

}  // namespace

HRESULT StatusEvent::Report(LONG eventId, LONG level, BSTR text) noexcept {
    return guarded([&]() -> HRESULT {
        const std::string line = eventLine(eventId, level, {text ? text : u"", SysStringLen(text)});
        writeSystemLog(level == informative ? LogSeverity::Informational : LogSeverity::Notice,
                       "ZlkCamTr", line);
        const std::u16string file = logFile();
        return file.empty() ? S_OK : append(file, timeText() + ' ' + line + '\n');
    });
}

}  // namespace zlk
