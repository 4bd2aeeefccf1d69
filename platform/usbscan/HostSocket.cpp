#include "platform/usbscan/HostSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zlk::platform {
namespace {

constexpr std::size_t aheadSize = 4096;

timeval timevalOf(std::chrono::milliseconds time) {
    return {time.count() / 1000, time.count() % 1000 * 1000};
}

}  // namespace

HostSocket::HostSocket(Descriptor socket, std::chrono::milliseconds patience)
    : socket_(std::move(socket)), ahead_(aheadSize) {
    const timeval limit = timevalOf(patience);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool HostSocket::send(usbscan::MessageHeader header, std::span<const std::byte> first,
                      std::span<const std::byte> second) {
    header.length = static_cast<std::uint32_t>(first.size() + second.size());
    iovec parts[] = {{&header, sizeof header},
                     {const_cast<std::byte*>(first.data()), first.size()},
                     {const_cast<std::byte*>(second.data()), second.size()}};
    std::size_t left = sizeof header + header.length;
    for (msghdr message{}; left > 0;) {
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        const ssize_t sent = ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0) return false;
        left -= static_cast<std::size_t>(sent);
        std::size_t skip = static_cast<std::size_t>(sent);
        for (iovec& part : parts) {
            const std::size_t skipped = std::min(skip, part.iov_len);
            part.iov_base = static_cast<std::byte*>(part.iov_base) + skipped;
            part.iov_len -= skipped;
            skip -= skipped;
        }
    }
    return true;
}

bool HostSocket::hasInput(std::chrono::milliseconds time) {
    if (end_ > begin_) return true;
    pollfd wait{socket_.get(), POLLIN, 0};
    int happened;
    while ((happened = ::poll(&wait, 1, static_cast<int>(time.count()))) < 0 && errno == EINTR) {
    }
    return happened > 0;
}

/// Reads into the buffer, and what comes behind it ahead.
HostSocket::Result HostSocket::receiveSome(std::span<std::byte> buffer, std::size_t& done) {
    iovec parts[] = {{buffer.data(), buffer.size()}, {ahead_.data() + end_, ahead_.size() - end_}};
    // Behind a message that goes on there is only more of it, for the reader's next buffer.
    const bool readsAhead = buffer.size() == left_;
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = readsAhead ? 2 : 1;
    ssize_t count;
    while ((count = ::recvmsg(socket_.get(), &message, 0)) < 0 && errno == EINTR) {
    }
    if (count < 0 && errno == EAGAIN) return Result::TimedOut;
    if (count <= 0) return Result::Closed;
    done = std::min(static_cast<std::size_t>(count), buffer.size());
    end_ += static_cast<std::size_t>(count) - done;
    return Result::Ok;
}

HostSocket::Result HostSocket::receiveHeader(usbscan::MessageHeader& header) {
    while (end_ - begin_ < sizeof header) {
        if (begin_ > 0) {
            std::copy(ahead_.begin() + static_cast<std::ptrdiff_t>(begin_),
                      ahead_.begin() + static_cast<std::ptrdiff_t>(end_), ahead_.begin());
            end_ -= begin_;
            begin_ = 0;
        }
        std::size_t none = 0;
        left_ = 0;
        if (const Result result = receiveSome({}, none); result != Result::Ok) return result;
    }
    std::memcpy(&header, ahead_.data() + begin_, sizeof header);
    begin_ += sizeof header;
    left_ = header.length;
    return Result::Ok;
}

HostSocket::Result HostSocket::receive(std::span<std::byte> buffer) {
    while (!buffer.empty()) {
        std::size_t done = std::min(end_ - begin_, buffer.size());
        if (done > 0) {
            std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(begin_), done, buffer.begin());
            begin_ += done;
        } else {
            begin_ = end_ = 0;
            if (const Result result = receiveSome(buffer, done); result != Result::Ok)
                return result;
        }
        buffer = buffer.subspan(done);
        left_ -= static_cast<std::uint32_t>(done);
    }
    return Result::Ok;
}

HostSocket::Result HostSocket::skipRest() {
    std::byte unwanted[4096];
    while (left_ > 0) {
        const std::size_t size = std::min<std::size_t>(left_, sizeof unwanted);
        if (const Result result = receive({unwanted, size}); result != Result::Ok) return result;
    }
    return Result::Ok;
}

void HostSocket::shutDown() noexcept {
    ::shutdown(socket_.get(), SHUT_RDWR);
}

}  // namespace zlk::platform
