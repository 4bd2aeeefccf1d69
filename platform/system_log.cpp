#include "platform/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <new>
#include <string>

bool writeSystemLog(LogSeverity severity, std::string_view identity, std::string_view line,
                    const char* socket) noexcept {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string_view path(socket);
    if (path.size() >= sizeof(address.sun_path)) return false;
    path.copy(address.sun_path, path.size());
    try {
        // The form of the log's socket: priority, identity, process id and text; the log adds the
        // time.
        std::string datagram = "<" + std::to_string(LOG_USER | static_cast<int>(severity)) + ">";
        datagram.append(identity).append("[" + std::to_string(getpid()) + "]: ").append(line);
        const int log = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (log < 0) return false;
        const ssize_t sent = sendto(log, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                    reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        close(log);
        return sent >= 0;
    } catch (const std::bad_alloc&) {
        return false;
    }
}
