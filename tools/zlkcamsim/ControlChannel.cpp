#include "tools/zlkcamsim/ControlChannel.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace zlk::camsim {
namespace {

// A talker that sends a longer line is cut off.
constexpr std::size_t longestLine = 64 * 1024;

[[noreturn]] void fail(const std::string& what, int error = errno) {
    throw std::system_error(error, std::generic_category(), what);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) fail(path, ENAMETOOLONG);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Whether a call has to be repeated later.
bool wouldBlock(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EINTR);
}

}  // namespace

/// A connection. Its answers are kept until the talker reads them, and meanwhile nothing more is
/// read, so that a talker who doesn't read can't fill the memory.
class ControlChannel::Talk {
  public:
    Talk(ControlChannel& channel, int input, int output, bool owned, std::function<void()> closed)
        : channel_(channel),
          input_(input),
          output_(output),
          owned_(owned),
          closed_(std::move(closed)) {
        listen();
    }
    ~Talk() {
        channel_.loop_.forget(input_);
        channel_.loop_.forget(output_);
        if (owned_) ::close(input_);
    }

  private:
    void listen() {
        // The loop knows one handler for each descriptor, and both directions of a socket share one
        // descriptor.
        if (output_ != input_) channel_.loop_.forget(output_);
        channel_.loop_.watch(input_, POLLIN, [this](short) { read(); });
    }

    void read() {
        std::array<char, 4096> buffer;
        const ssize_t count = ::read(input_, buffer.data(), buffer.size());
        if (wouldBlock(count)) return;
        if (count <= 0) return end();
        line_.append(buffer.data(), static_cast<std::size_t>(count));
        // Several commands may come in one read; each gets its answer, in order.
        for (std::size_t newline; (newline = line_.find('\n')) != std::string::npos;) {
            pending_ += channel_.answer_(line_.substr(0, newline)) + '\n';
            line_.erase(0, newline + 1);
        }
        if (line_.size() > longestLine) return end();
        write();
    }

    void write() {
        while (!pending_.empty()) {
            const ssize_t count = ::write(output_, pending_.data(), pending_.size());
            // The loop calls again when the talker has read something.
            if (wouldBlock(count)) {
                if (output_ != input_) channel_.loop_.forget(input_);
                return channel_.loop_.watch(output_, POLLOUT, [this](short) { write(); });
            }
            if (count < 0) return end();
            pending_.erase(0, static_cast<std::size_t>(count));
        }
        listen();
    }

    void end() {
        // `closed_` is a member, so it is called before this object destroys itself.
        if (closed_) closed_();
        auto& talks = channel_.talks_;
        talks.erase(std::find_if(talks.begin(), talks.end(),
                                 [this](const auto& talk) { return talk.get() == this; }));
    }

    ControlChannel& channel_;
    const int input_, output_;
    const bool owned_;
    const std::function<void()> closed_;
    std::string line_, pending_;
};

ControlChannel::ControlChannel(usbscan::EventLoop& loop, Answer answer)
    : loop_(loop), answer_(std::move(answer)) {}

ControlChannel::~ControlChannel() {
    for (const Listening& each : listening_) {
        loop_.forget(each.socket);
        ::close(each.socket);
        ::unlink(each.path.c_str());
    }
}

void ControlChannel::listenOn(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0) fail(path);
    // A socket that was left by a killed program would keep the name. Anything else stays, and
    // bind() fails.
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) ::unlink(path.c_str());
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket, 16) != 0) {
        const int error = errno;
        ::close(socket);
        fail(path, error);
    }
    listening_.push_back({socket, path});
    loop_.watch(socket, POLLIN, [this, socket](short) { accept(socket); });
}

void ControlChannel::accept(int listening) {
    const int client = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client >= 0) talks_.push_back(std::make_unique<Talk>(*this, client, client, true, nullptr));
}

void ControlChannel::serveStandardStreams(std::function<void()> closed) {
    talks_.push_back(
        std::make_unique<Talk>(*this, STDIN_FILENO, STDOUT_FILENO, false, std::move(closed)));
}

std::string tell(const std::string& path, const std::string& line) {
    const sockaddr_un address = addressOf(path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::unique_ptr<const int, void (*)(const int*)> closer(
        &socket, [](const int* descriptor) { ::close(*descriptor); });
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail(path);
    const std::string whole = line + '\n';
    // A blocking socket takes the whole line at once.
    if (::send(socket, whole.data(), whole.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(whole.size()))
        fail(path);
    std::string answer;
    std::array<char, 4096> buffer;
    while (!answer.ends_with('\n')) {
        const ssize_t count = ::read(socket, buffer.data(), buffer.size());
        if (count <= 0) throw std::runtime_error("no answer from " + path);
        answer.append(buffer.data(), static_cast<std::size_t>(count));
    }
    answer.pop_back();
    return answer;
}

}  // namespace zlk::camsim
