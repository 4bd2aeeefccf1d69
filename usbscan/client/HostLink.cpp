#include "usbscan/client/HostLink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "usbscan/DescriptorPassing.h"

namespace zlk::platform {
namespace {

constexpr std::size_t aheadSize = 4096;  // bytes

bool hasLegalSize(const usbscan::MessageHeader& header) {
    return header.length <= (header.kind == usbscan::MessageKind::Data
                                 ? usbscan::maxDataMessage
                                 : usbscan::maxControlMessage);
}

timeval timevalOf(std::chrono::milliseconds time) {
    return {time.count() / 1000, time.count() % 1000 * 1000};
}

}  // namespace

HostLink::HostLink(Descriptor socket, std::chrono::milliseconds patience)
    : socket_(std::move(socket)), ahead_(aheadSize) {
    const timeval limit = timevalOf(patience);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

HostLink::~HostLink() {
    if (area_) ::munmap(const_cast<std::byte*>(area_), usbscan::areaSize);
}

bool HostLink::send(usbscan::MessageHeader header, std::span<const std::byte> first,
                    std::span<const std::byte> second, int descriptor) {
    const std::lock_guard lock(sending_);
    header.length = static_cast<std::uint32_t>(first.size() + second.size());
    const std::vector<std::byte> slotsFree = std::exchange(slotsFree_, {});
    // Slots that have been read are given back with this message, which saves a call and wakes the
    // host only once.
    iovec parts[] = {{const_cast<std::byte*>(slotsFree.data()), slotsFree.size()},
                     {&header, sizeof header},
                     {const_cast<std::byte*>(first.data()), first.size()},
                     {const_cast<std::byte*>(second.data()), second.size()}};
    std::size_t left = slotsFree.size() + sizeof header + header.length;
    alignas(cmsghdr) char control[usbscan::descriptorRoom] = {};
    msghdr message{};
    if (descriptor >= 0) usbscan::attach(message, control, descriptor);
    while (left > 0) {
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        const ssize_t sent = ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0) return false;
        left -= static_cast<std::size_t>(sent);
        message.msg_control = nullptr;  // the descriptor has gone with the first byte
        message.msg_controllen = 0;
        // The kernel may have taken only a part; the rest goes with the next call.
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

bool HostLink::hasInput(std::chrono::milliseconds time) {
    if (end_ > begin_) return true;
    pollfd wait{socket_.get(), POLLIN, 0};
    int happened;
    while ((happened = ::poll(&wait, 1, static_cast<int>(time.count()))) < 0 && errno == EINTR) {
    }
    return happened > 0;
}

/// Receives into the buffer, and what comes after it into `ahead_`, with a single system call.
HostLink::Result HostLink::receiveSome(std::span<std::byte> buffer, std::size_t& done) {
    iovec parts[] = {{buffer.data(), buffer.size()}, {ahead_.data() + end_, ahead_.size() - end_}};
    // If the message doesn't end with the buffer, only more of that message would follow. Its bytes
    // are better left for the reader's next buffer than copied twice.
    const bool readsAhead = buffer.size() == left_;
    alignas(cmsghdr) char control[usbscan::descriptorRoom];
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = readsAhead ? 2 : 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t count;
    while ((count = ::recvmsg(socket_.get(), &message, MSG_CMSG_CLOEXEC)) < 0 && errno == EINTR) {
    }
    if (count > 0 && message.msg_controllen > 0) passed_ = usbscan::attachedTo(message);
    if (count < 0 && errno == EAGAIN) return Result::TimedOut;
    if (count <= 0) return Result::Closed;
    done = std::min(static_cast<std::size_t>(count), buffer.size());
    end_ += static_cast<std::size_t>(count) - done;
    return Result::Ok;
}

HostLink::Result HostLink::receiveHeader(usbscan::MessageHeader& header) {
    // The header may arrive in parts, or together with the beginning of the payload.
    while (end_ - begin_ < sizeof header) {
        // The bytes that are there move to the front, so that the rest has room.
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
    // An Area is of no interest to the caller, who gets the message after it.
    if (header.kind == usbscan::MessageKind::Area)
        return left_ == 0 && mapArea() ? receiveHeader(header) : Result::Closed;
    if (!hasLegalSize(header)) return Result::Closed;
    const bool inArea = header.kind == usbscan::MessageKind::DataInArea;
    return !inArea || enterArea(header) ? Result::Ok : Result::Closed;
}

bool HostLink::mapArea() {
    const Descriptor memory = std::move(passed_);
    constexpr int fixedSize = F_SEAL_SHRINK | F_SEAL_GROW;
    struct stat status;
    // The size has to be sealed: if the host could truncate the memory, reading it would kill this
    // process with SIGBUS.
    if (!memory || area_ || ::fstat(memory.get(), &status) != 0 ||
        status.st_size != usbscan::areaSize ||
        (::fcntl(memory.get(), F_GET_SEALS) & fixedSize) != fixedSize)
        return false;
    void* const mapped = ::mmap(nullptr, usbscan::areaSize, PROT_READ, MAP_SHARED, memory.get(), 0);
    if (mapped == MAP_FAILED) return false;
    area_ = static_cast<const std::byte*>(mapped);
    return true;
}

bool HostLink::enterArea(usbscan::MessageHeader& header) {
    usbscan::AreaPiece piece;
    // The host's numbers are checked before they become addresses.
    if (!area_ || left_ != sizeof piece ||
        receiveBytes(std::as_writable_bytes(std::span(&piece, 1))) != Result::Ok ||
        piece.slot >= usbscan::areaSlots || piece.length == 0 ||
        piece.length > usbscan::areaSlotSize)
        return false;
    header.kind = usbscan::MessageKind::Data;
    header.length = left_ = piece.length;
    slot_ = piece.slot;
    inArea_ = area_ + std::size_t{slot_} * usbscan::areaSlotSize;
    return true;
}

void HostLink::leaveArea() {
    inArea_ = nullptr;
    // Each message wakes the host. So up to this many SlotFree messages wait to go with another
    // message.
    constexpr std::size_t most = usbscan::areaSlots / 2 - 1;
    const struct {
        usbscan::MessageHeader header;
        std::uint32_t slot;
    } message{{sizeof slot_, usbscan::MessageKind::SlotFree, 0, 0}, slot_};
    {
        const std::lock_guard lock(sending_);
        if (slotsFree_.size() < most * sizeof message) {
            const auto bytes = std::as_bytes(std::span(&message, 1));
            slotsFree_.insert(slotsFree_.end(), bytes.begin(), bytes.end());
            return;
        }
    }
    send(message.header, std::as_bytes(std::span(&slot_, 1)));
}

HostLink::Result HostLink::receive(std::span<std::byte> buffer) {
    if (!inArea_) return receiveBytes(buffer);
    std::copy_n(inArea_, buffer.size(), buffer.begin());
    inArea_ += buffer.size();
    left_ -= static_cast<std::uint32_t>(buffer.size());
    if (left_ == 0) leaveArea();
    return Result::Ok;
}

HostLink::Result HostLink::receiveBytes(std::span<std::byte> buffer) {
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

HostLink::Result HostLink::skipRest() {
    std::byte unwanted[4096];
    while (left_ > 0) {
        const std::size_t size = std::min<std::size_t>(left_, sizeof unwanted);
        if (const Result result = receive({unwanted, size}); result != Result::Ok) return result;
    }
    return Result::Ok;
}

void HostLink::shutDown() noexcept {
    ::shutdown(socket_.get(), SHUT_RDWR);
}

}  // namespace zlk::platform
