#include "tools/emulated_usb/UrbQueues.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zlk::emulated {
namespace {

using camsim::PipeAnswer;

constexpr std::size_t setupSize = 8;

camsim::SetupPacket setupOf(std::span<const std::byte> bytes) {
    const auto word = [&](std::size_t at) {
        return static_cast<std::uint16_t>(static_cast<unsigned>(bytes[at]) |
                                          static_cast<unsigned>(bytes[at + 1]) << 8);
    };
    return {static_cast<std::uint8_t>(bytes[0]), static_cast<std::uint8_t>(bytes[1]), word(2),
            word(4), word(6)};
}

}  // namespace

int UrbQueues::submit(std::unique_ptr<Urb> urb) {
    Pipe& pipe = pipes_[urb->fields().endpoint];
    if (!urb->is(USBDEVFS_URB_BULK_CONTINUATION))
        pipe.continuationsRefused = false;
    else if (pipe.continuationsRefused)
        return EREMOTEIO;
    if (static_cast<std::size_t>(urb->fields().buffer_length) != urb->buffer().size())
        return EFAULT;
    if (used_ + urb->buffer().size() > memory_) return ENOMEM;
    used_ += urb->buffer().size();
    urb->fields().actual_length = 0;
    pipe.queue.push_back(std::move(urb));
    return 0;
}

bool UrbQueues::discard(Urb::Client client, gulong address) {
    for (auto& [endpoint, pipe] : pipes_)
        for (auto urb = pipe.queue.begin(); urb != pipe.queue.end(); ++urb)
            if ((*urb)->client() == client && (*urb)->address() == address) {
                end(pipe, urb, -ENOENT);
                return true;
            }
    return false;
}

void UrbQueues::end(int status, Urb::Client client) {
    for (auto& [endpoint, pipe] : pipes_)
        for (auto urb = pipe.queue.begin(); urb != pipe.queue.end();) {
            const auto current = urb++;
            if (!client || (*current)->client() == client) end(pipe, current, status);
        }
}

void UrbQueues::forget(Urb::Client client) {
    end(-ENOENT, client);
    while (reap(client)) {
    }
}

std::unique_ptr<Urb> UrbQueues::reap(Urb::Client client) {
    const auto found = std::find_if(ended_.begin(), ended_.end(),
                                    [&](const auto& urb) { return urb->client() == client; });
    if (found == ended_.end()) return nullptr;
    auto urb = std::move(*found);
    ended_.erase(found);
    return urb;
}

void UrbQueues::end(Pipe& pipe, UrbList::iterator urb, int status) {
    (*urb)->fields().status = status;
    used_ -= (*urb)->buffer().size();
    ended_.splice(ended_.end(), pipe.queue, urb);
}

void UrbQueues::run() {
    for (bool again = true; again;) {
        again = false;
        for (auto& [endpoint, pipe] : pipes_)
            while (!pipe.queue.empty() && serve(pipe)) again = true;
    }
}

/// Returns whether the first request has ended.
bool UrbQueues::serve(Pipe& pipe) {
    const usbdevfs_urb& fields = pipe.queue.front()->fields();
    if (fields.type == USBDEVFS_URB_TYPE_CONTROL) return serveControl(pipe);
    if (fields.type == USBDEVFS_URB_TYPE_INTERRUPT) return serveInterrupt(pipe);
    return pipe.queue.front()->towardsHost() ? serveIn(pipe) : serveOut(pipe);
}

bool UrbQueues::serveControl(Pipe& pipe) {
    Urb& urb = *pipe.queue.front();
    if (urb.buffer().size() < setupSize) return endFirst(pipe, -EINVAL);
    const auto setup = setupOf(urb.buffer());
    const auto data = urb.buffer().subspan(setupSize);
    const bool towardsHost = setup.requestType & 0x80;
    const auto answer = function_.control(setup, towardsHost ? std::span<std::byte>() : data);
    if (answer.stalled) return endFirst(pipe, -EPIPE);
    const std::size_t length =
        towardsHost ? std::min(answer.bytes.size(), data.size()) : data.size();
    if (towardsHost && length) std::memcpy(data.data(), answer.bytes.data(), length);
    urb.fields().actual_length = static_cast<int>(length);
    return endFirst(pipe, 0);
}

bool UrbQueues::serveOut(Pipe& pipe) {
    Urb& urb = *pipe.queue.front();
    const std::size_t size = urb.buffer().size();
    const bool ends =
        size == 0 || size % function_.bulkPacketSize() || urb.is(USBDEVFS_URB_ZERO_PACKET);
    const PipeAnswer answer = function_.out(urb.buffer(), ends);
    if (answer == PipeAnswer::Accepted) urb.fields().actual_length = static_cast<int>(size);
    return endWith(pipe, answer);
}

bool UrbQueues::serveIn(Pipe& pipe) {
    Urb& urb = *pipe.queue.front();
    if (std::exchange(pipe.emptyPacketIsDue, false)) return endShort(pipe);
    const std::size_t packet = function_.bulkPacketSize();
    while (!urb.room().empty()) {
        const auto room = urb.room();
        // The host controller asks for whole packets; the last one may not fit into the buffer.
        const std::size_t asked =
            room.size() < packet ? packet : room.size() - room.size() % packet;
        const camsim::PipeBytes came = function_.in(asked);
        if (came.answer != PipeAnswer::Accepted) return endWith(pipe, came.answer);
        const std::size_t fitting = std::min(came.bytes.size(), room.size());
        if (fitting) std::memcpy(room.data(), came.bytes.data(), fitting);
        urb.fields().actual_length += static_cast<int>(fitting);
        if (fitting < came.bytes.size()) return endFirst(pipe, -EOVERFLOW);
        if (!came.endsTransfer) continue;
        if (!urb.room().empty()) return endShort(pipe);
        pipe.emptyPacketIsDue = fitting > 0 && came.bytes.size() % packet == 0;
    }
    return endFirst(pipe, 0);
}

bool UrbQueues::serveInterrupt(Pipe& pipe) {
    Urb& urb = *pipe.queue.front();
    const camsim::PipeBytes came = function_.interrupt(urb.buffer().size());
    if (came.answer == PipeAnswer::Accepted && !came.bytes.empty()) {
        std::memcpy(urb.buffer().data(), came.bytes.data(), came.bytes.size());
        urb.fields().actual_length = static_cast<int>(came.bytes.size());
    }
    return endWith(pipe, came.answer);
}

bool UrbQueues::endWith(Pipe& pipe, PipeAnswer answer) {
    switch (answer) {
        case PipeAnswer::Accepted:
            return endFirst(pipe, 0);
        case PipeAnswer::NotNow:
            return false;
        case PipeAnswer::Stalled:
            return endFirst(pipe, -EPIPE);
        case PipeAnswer::Broken:
            break;
    }
    return endFirst(pipe, -EPROTO);
}

bool UrbQueues::endShort(Pipe& pipe) {
    return endFirst(pipe, pipe.queue.front()->is(USBDEVFS_URB_SHORT_NOT_OK) ? -EREMOTEIO : 0);
}

bool UrbQueues::endFirst(Pipe& pipe, int status) {
    end(pipe, pipe.queue.begin(), status);
    if (status == 0) return true;
    pipe.continuationsRefused = true;
    while (!pipe.queue.empty() && pipe.queue.front()->is(USBDEVFS_URB_BULK_CONTINUATION))
        end(pipe, pipe.queue.begin(), -ECONNRESET);
    return true;
}

}  // namespace zlk::emulated
