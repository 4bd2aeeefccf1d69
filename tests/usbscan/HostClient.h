#pragma once
// A client that speaks to the host of a device message by message.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "platform/descriptor.h"
#include "usbscan/DescriptorPassing.h"
#include "usbscan/Protocol.h"

namespace zlk::test {

struct HostMessage {
    usbscan::MessageHeader header{};
    std::vector<std::byte> bytes;

    /// Of one that is a number.
    std::uint32_t number() const {
        std::uint32_t number = 0;
        if (bytes.size() == sizeof number) std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }
};

class HostClient {
  public:
    explicit HostClient(Descriptor socket) : socket_(std::move(socket)) {
        const usbscan::OpenRequest request{usbscan::protocolVersion, 20000, 5000};
        say(usbscan::MessageKind::Open, std::as_bytes(std::span(&request, 1)));
    }
    /// A descriptor goes with it where there is one.
    void say(usbscan::MessageKind kind, std::span<const std::byte> bytes = {},
             int descriptor = -1) const {
        usbscan::MessageHeader header{static_cast<std::uint32_t>(bytes.size()), kind, 0, 1};
        iovec parts[] = {{&header, sizeof header},
                         {const_cast<std::byte*>(bytes.data()), bytes.size()}};
        alignas(cmsghdr) char control[usbscan::descriptorRoom] = {};
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        if (descriptor >= 0) usbscan::attach(message, control, descriptor);
        ASSERT_EQ(::sendmsg(socket_.get(), &message, MSG_NOSIGNAL),
                  static_cast<ssize_t>(sizeof header + bytes.size()));
    }
    void command(std::uint32_t transaction) const {
        const std::uint32_t container[] = {12, 0x10010001, transaction};
        say(usbscan::MessageKind::Write, std::as_bytes(std::span(container)));
    }
    /// How many of these bytes the socket takes.
    std::size_t offer(std::span<const std::byte> bytes) const {
        return static_cast<std::size_t>(
            std::max<ssize_t>(0, ::send(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT)));
    }
    /// Takes what has come, and gives the slots of the shared memory back. False at the end.
    bool read() {
        std::byte some[4096];
        ssize_t size;
        while ((size = ::recv(socket_.get(), some, sizeof some, MSG_DONTWAIT)) > 0)
            input_.insert(input_.end(), some, some + size);
        while (takeMessage()) {
        }
        return size != 0;
    }
    void close() { socket_ = Descriptor(); }

    auto count(usbscan::MessageKind kind) const {
        return std::ranges::count(heard, kind,
                                  [](const HostMessage& each) { return each.header.kind; });
    }

    std::vector<HostMessage> heard;  ///< but for notes
    std::size_t data = 0;            ///< bytes, in messages and in the shared memory

  private:
    bool takeMessage() {
        using usbscan::MessageKind;
        HostMessage message;
        constexpr std::size_t head = sizeof message.header;
        if (input_.size() < head) return false;
        std::memcpy(&message.header, input_.data(), head);
        if (input_.size() - head < message.header.length) return false;
        const auto end = input_.begin() + head + message.header.length;
        message.bytes.assign(input_.begin() + head, end);
        input_.erase(input_.begin(), end);
        if (message.header.kind == MessageKind::DataInArea) {
            usbscan::AreaPiece piece{};
            std::memcpy(&piece, message.bytes.data(), sizeof piece);
            data += piece.length;
            say(MessageKind::SlotFree, std::as_bytes(std::span(&piece.slot, 1)));
        }
        if (message.header.kind == MessageKind::Data) data += message.bytes.size();
        if (message.header.kind != MessageKind::Note) heard.push_back(std::move(message));
        return true;
    }

    Descriptor socket_;
    std::vector<std::byte> input_;
};

}  // namespace zlk::test
