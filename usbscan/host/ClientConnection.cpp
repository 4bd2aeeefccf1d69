#include "usbscan/host/ClientConnection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "usbscan/DescriptorPassing.h"

namespace zlk::usbscan {
namespace {

// Bytes; the buffer grows when a client sends its first large part.
constexpr std::size_t usualInput = 4096;
// A client that goes on asking and reads no answer isn't read from any more, so that it can't fill
// the host's memory.
constexpr std::size_t maxQueuedAnswers = 256;
// Notes, which no client asks for, must not bring a client to maxQueuedAnswers.
constexpr std::size_t maxQueuedBeforeNote = 128;
// Messages, or parts of a Write, that are handled for one client in one go.
constexpr int maxMessagesPerTurn = 64;

// Bytes. Below this a copy through the socket is faster than a slot of the shared area.
constexpr std::size_t minBytesForSharedMemory = 16 * 1024;

bool isFromClient(MessageKind kind) {
    return kind >= MessageKind::Open && kind <= MessageKind::EndRecord;
}

bool isData(MessageKind kind) {
    return kind == MessageKind::Data || kind == MessageKind::DataInArea ||
           kind == MessageKind::ZeroPacket;
}

/// Like recv(). A descriptor that comes along replaces the one in `passed`.
ssize_t receiveWithDescriptor(int socket, std::span<std::byte> buffer, Descriptor& passed) {
    iovec part{buffer.data(), buffer.size()};
    alignas(cmsghdr) char control[descriptorRoom];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t count = ::recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (Descriptor came = count > 0 ? attachedTo(message) : Descriptor(); came)
        passed = std::move(came);
    return count;
}

/// Process id of the peer when it connected; 0 if it isn't known.
pid_t processAt(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

std::shared_ptr<std::vector<std::byte>> copyOf(std::span<const std::byte> bytes) {
    return std::make_shared<std::vector<std::byte>>(bytes.begin(), bytes.end());
}

}  // namespace

ClientConnection::ClientConnection(EventLoop& loop, int socket, Owner& owner)
    : loop_(loop), socket_(socket), process_(processAt(socket)), owner_(owner), input_(usualInput) {
    loop_.watch(socket_, POLLIN, [this](short events) { happened(events); });
}

ClientConnection::~ClientConnection() {
    loop_.forget(socket_);
    ::close(socket_);
}

bool ClientConnection::listens() const noexcept {
    return !lost_ && !paused_ && queuedAnswers_ < maxQueuedAnswers;
}

void ClientConnection::expectEvents() {
    const bool sends = !output_.empty() && !awaitsSlot_ && !awaitsNext_;
    loop_.expect(socket_, static_cast<short>((listens() ? POLLIN : 0) | (sends ? POLLOUT : 0)));
}

void ClientConnection::lose() {
    if (lost_) return;
    lost_ = true;
    loop_.forget(socket_);
    owner_.lost(*this);
}

void ClientConnection::happened(short events) {
    if (events & POLLOUT) flush();
    // A client that has closed its end waits for no answer, and what it had still to say doesn't
    // matter any more.
    if (events & (POLLERR | POLLHUP)) lose();
    if (!lost_ && (events & POLLIN)) readOn();
    if (!lost_) expectEvents();
}

void ClientConnection::resume() {
    if (!paused_) return;
    paused_ = false;
    expectEvents();
    if (end_ > begin_) readOnLater();
}

void ClientConnection::readOnLater() {
    loop_.post(lifetime_.guard([this] {
        readOn();
        if (!lost_) expectEvents();
    }));
}

void ClientConnection::readOn() {
    for (int taken = 0; listens();) {
        if (taken == maxMessagesPerTurn) return readOnLater();
        if (writeLeft_ > 0 ? takePart() : takeMessage())
            ++taken;
        else if (lost_ || !receive())
            return;
    }
}

bool ClientConnection::receive() {
    if (begin_ == end_) begin_ = end_ = 0;
    // The wanted bytes have to fit after `begin_`, so those that are there move to the front.
    if (input_.size() - begin_ < wanted_) {
        std::copy(input_.begin() + static_cast<std::ptrdiff_t>(begin_),
                  input_.begin() + static_cast<std::ptrdiff_t>(end_), input_.begin());
        end_ -= begin_;
        begin_ = 0;
        if (input_.size() < wanted_) input_.resize(wanted_);
    }
    const ssize_t count = receiveWithDescriptor(socket_, std::span(input_).subspan(end_), passed_);
    if (count > 0) {
        end_ += static_cast<std::size_t>(count);
        return true;
    }
    if (count == 0 || (errno != EAGAIN && errno != EINTR)) lose();
    return false;
}

bool ClientConnection::takeMessage() {
    wanted_ = sizeof(MessageHeader);
    if (end_ - begin_ < wanted_) return false;
    MessageHeader header;
    std::memcpy(&header, input_.data() + begin_, sizeof header);
    // A kind that clients don't send, or a message that is too long, ends the connection. So does
    // an empty Write, which has no part to hand out.
    const bool isWrite = header.kind == MessageKind::Write;
    if (!isFromClient(header.kind) || (!isWrite && header.length > maxControlMessage) ||
        (isWrite && header.length == 0)) {
        lose();
        return false;
    }
    if (isWrite) {
        begin_ += sizeof header;
        write_ = header;
        writeLeft_ = header.length;
        return true;
    }
    wanted_ += header.length;
    if (end_ - begin_ < wanted_) return false;
    const std::span payload(input_.data() + begin_ + sizeof header, header.length);
    begin_ += wanted_;
    if (header.kind != MessageKind::SlotFree) {
        owner_.received(*this, header, payload);
        return true;
    }
    // SlotFree is the connection's own business. A payload of the wrong size leaves a number that
    // no slot has, and so ends the connection.
    std::uint32_t slot = areaSlots;
    if (payload.size() == sizeof slot) std::memcpy(&slot, payload.data(), sizeof slot);
    if (!area_.free(slot)) {
        lose();
        return false;
    }
    if (std::exchange(awaitsSlot_, false)) flush();
    return true;
}

bool ClientConnection::takePart() {
    wanted_ = std::min(writeLeft_, maxWritePart);
    if (end_ - begin_ < wanted_) return false;
    WritePart part{write_.turn,
                   {input_.data() + begin_, wanted_},
                   writeLeft_ == write_.length,
                   writeLeft_ == wanted_};
    begin_ += wanted_;
    writeLeft_ -= static_cast<std::uint32_t>(wanted_);
    paused_ = true;
    owner_.receivedPart(*this, part);
    return true;
}

void ClientConnection::send(MessageHeader header, std::span<const std::byte> bytes,
                            std::shared_ptr<const void> keeper, When when) {
    if (lost_) return;
    Outgoing outgoing{header, bytes, std::move(keeper)};
    const bool large = header.kind == MessageKind::Data && bytes.size() >= minBytesForSharedMemory;
    // The area is made for the first large piece. Where there is no memory for it, pieces go
    // through the socket.
    if (large && !area_.exists() && area_.make())
        queue({{0, MessageKind::Area, 0, 0}, {}, nullptr, area_.descriptor()});
    outgoing.wantsArea = large && area_.exists() && bytes.size() <= areaSlotSize;
    if (!outgoing.keeper && !bytes.empty()) {
        const auto copy = copyOf(bytes);
        outgoing.bytes = *copy;
        outgoing.keeper = copy;
    }
    queue(std::move(outgoing), when);
}

bool ClientConnection::moveToArea(Outgoing& outgoing) {
    if (!outgoing.wantsArea) return true;
    const auto slot = area_.put(outgoing.bytes);
    if (!slot) return false;
    const AreaPiece piece{*slot, static_cast<std::uint32_t>(outgoing.bytes.size())};
    const auto copy = copyOf(std::as_bytes(std::span(&piece, 1)));
    outgoing.header.kind = MessageKind::DataInArea;
    outgoing.header.length = sizeof piece;
    outgoing.bytes = *copy;
    outgoing.keeper = copy;
    outgoing.wantsArea = false;
    return true;
}

void ClientConnection::queue(Outgoing outgoing, When when) {
    outgoing.header.length = static_cast<std::uint32_t>(outgoing.bytes.size());
    if (!isData(outgoing.header.kind)) ++queuedAnswers_;
    // Messages that are queued already wait either for this one, to go with it, or for room in the
    // socket or the area. Once there is room, flush() is called in any case.
    const bool idle = output_.empty() || awaitsNext_;
    output_.push_back(std::move(outgoing));
    awaitsNext_ = idle && when == When::WithTheNext;
    if (idle && !awaitsNext_) flush();
    if (!lost_) expectEvents();
}

void ClientConnection::sendError(MessageKind kind, std::uint32_t error, std::uint16_t turn,
                                 std::uint8_t flags) {
    send({0, kind, flags, turn}, std::as_bytes(std::span(&error, 1)));
}

void ClientConnection::note(std::string_view line) {
    if (queuedAnswers_ >= maxQueuedBeforeNote) return;
    line = line.substr(0, maxControlMessage);
    send({0, MessageKind::Note, 0, 0}, std::as_bytes(std::span(line)));
}

void ClientConnection::dropData() {
    if (output_.empty()) return;
    auto first = output_.begin();
    if (sent_ > 0) {
        // Part of this message has been sent, so the rest must follow. It is copied, since the
        // device needs the buffer.
        if (isData(first->header.kind)) {
            const auto copy = copyOf(first->bytes);
            first->bytes = *copy;
            first->keeper = copy;
        }
        ++first;
    }
    const auto dropped = std::stable_partition(
        first, output_.end(), [](const Outgoing& out) { return !isData(out.header.kind); });
    // The client won't free the slots of messages that it never gets.
    for (auto out = dropped; out != output_.end(); ++out)
        if (out->header.kind == MessageKind::DataInArea) {
            AreaPiece piece;
            std::memcpy(&piece, out->bytes.data(), sizeof piece);
            area_.free(piece.slot);
        }
    output_.erase(dropped, output_.end());
    awaitsSlot_ = awaitsNext_ = false;
    if (!lost_) expectEvents();
}

void ClientConnection::finish() {
    finishing_ = true;
    dropData();
    if (output_.empty()) lose();
}

void ClientConnection::flush() {
    while (!output_.empty()) {
        // One call sends several messages. An earlier call may have sent the first `skip` bytes.
        std::array<iovec, 8> parts{};
        std::size_t count = 0, skip = sent_;
        const auto add = [&](const void* bytes, std::size_t size) {
            const std::size_t skipped = std::min(skip, size);
            skip -= skipped;
            if (size > skipped)
                parts[count++] = {const_cast<char*>(static_cast<const char*>(bytes)) + skipped,
                                  size - skipped};
        };
        alignas(cmsghdr) char control[descriptorRoom] = {};
        msghdr message{};
        for (Outgoing& out : output_) {
            // The kernel passes a descriptor with the first byte of a call, so a message with a
            // descriptor has to come first in its call.
            const bool begins = &out == &output_.front();
            if (count + 2 > parts.size() || (out.descriptor >= 0 && !begins) || !moveToArea(out))
                break;
            if (out.descriptor >= 0 && sent_ == 0) attach(message, control, out.descriptor);
            add(&out.header, sizeof out.header);
            add(out.bytes.data(), out.bytes.size());
        }
        // If nothing can be sent, the first message needs a slot, and the client's SlotFree leads
        // back here.
        awaitsSlot_ = count == 0;
        if (awaitsSlot_) return;
        message.msg_iov = parts.data();
        message.msg_iovlen = count;
        const ssize_t sent = ::sendmsg(socket_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && errno == EAGAIN) return;
        if (sent < 0) return lose();
        // The kernel may have taken any number of bytes.
        sent_ += static_cast<std::size_t>(sent);
        while (!output_.empty()) {
            const std::size_t size = sizeof(MessageHeader) + output_.front().bytes.size();
            if (sent_ < size) break;
            sent_ -= size;
            // Below the limit, the client is read from again. Messages may be in the buffer
            // already, and no event of the socket would lead to them.
            if (!isData(output_.front().header.kind) && queuedAnswers_-- == maxQueuedAnswers)
                readOnLater();
            output_.pop_front();
        }
    }
    if (finishing_) lose();
}

}  // namespace zlk::usbscan
