#include "tools/zlkcamsim/ReplyScript.h"

#include <algorithm>
#include <limits>

namespace zlk::camsim {
namespace {

using Kind = PipeStep::Kind;

const Fault* find(const std::vector<Fault>& faults, FaultKind kind) {
    const auto found = std::find_if(faults.begin(), faults.end(),
                                    [kind](const Fault& fault) { return fault.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}

/// The offset of the first string in an operation's dataset; 0 for operations not listed here.
std::size_t firstString(Code operation) {
    switch (operation) {
        case operation::GetDeviceInfo:
            return 8;
        case operation::GetStorageInfo:
            return 26;
        case operation::GetObjectInfo:
            return 52;
        case operation::GetDevicePropDesc:
            return 5;
        default:
            return 0;
    }
}

/// The payload with `bytes` instead of its own from `at` on, as far as the payload reaches.
Payload patched(const Payload& payload, std::size_t at, ByteView bytes) {
    Bytes copy(payload.bytes.begin(), payload.bytes.end());
    for (std::size_t i = 0; i < bytes.size() && at < copy.size() && i < copy.size() - at; ++i)
        copy[at + i] = bytes[i];
    return Payload::of(std::move(copy));
}

Bytes numberBytes(std::uint32_t value, std::size_t size) {
    Bytes bytes;
    appendNumber(bytes, value, size);
    return bytes;
}

/// The payload cut, or extended by bytes that are easy to recognise.
Payload resized(const Payload& payload, std::size_t size) {
    if (size <= payload.bytes.size()) return payload.part(0, size);
    Bytes copy(payload.bytes.begin(), payload.bytes.end());
    copy.resize(size, std::byte{0x5A});
    return Payload::of(std::move(copy));
}

/// The payload after all faults that change it.
Payload withFaults(Payload payload, Code operation, const std::vector<Fault>& faults) {
    constexpr std::size_t mostGrowth = 1 << 24;
    for (const Fault& fault : faults) {
        if (fault.kind == FaultKind::Truncate)
            payload = resized(payload, std::min<std::size_t>(fault.value, payload.bytes.size()));
        if (fault.kind == FaultKind::Grow)
            payload = resized(
                payload, payload.bytes.size() + std::min<std::size_t>(fault.value, mostGrowth));
        if (fault.kind == FaultKind::Patch) payload = patched(payload, fault.at, fault.bytes);
        if (fault.kind == FaultKind::ArrayCount)
            payload = patched(payload, 0, numberBytes(fault.value, 4));
        if (fault.kind == FaultKind::StringCount)
            payload = patched(payload, firstString(operation), numberBytes(fault.value, 1));
    }
    return payload;
}

void spoil(ContainerHeader& header, const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        if (fault.kind == FaultKind::SetCode) header.code = static_cast<Code>(fault.value);
        if (fault.kind == FaultKind::SetId) header.id = fault.value;
        if (fault.kind == FaultKind::SetType) header.type = static_cast<std::uint16_t>(fault.value);
        if (fault.kind == FaultKind::SetLength) header.length = fault.value;
    }
}

std::uint32_t lengthOf(std::uint64_t payloadSize) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(payloadSize + ContainerHeader::size,
                                                              ContainerHeader::unknownLength));
}

/// A container that the previous transaction might have left behind.
Payload staleContainer(const ContainerHeader& header, std::uint32_t type) {
    const Code code = type == Data ? operation::GetObjectInfo : response::OK;
    Bytes bytes = ContainerHeader{type == Data ? 20u : 12u, static_cast<std::uint16_t>(type), code,
                                  header.id - 1}
                      .encode();
    if (type == Data) appendNumber(bytes, 0, 8);
    return Payload::of(std::move(bytes));
}

}  // namespace

void ReplyScript::play(const Message& command, Reply reply) {
    const std::uint32_t id = reply.id.value_or(command.id);
    // Data and response each have their own faults. The length in the header is computed after
    // those that change the payload.
    if (reply.data) {
        const std::vector<Fault> faults = faults_.take(Phase::Data, command.code);
        const Payload payload = withFaults(std::move(*reply.data), command.code, faults);
        const ContainerHeader header{lengthOf(payload.bytes.size()), Data, command.code, id};
        container(header, payload, faults);
        surplus(faults);
    }
    const Bytes bytes = Message{reply.code, id, std::move(reply.parameters)}.encode(Response);
    const Payload parameters = Payload::of({bytes.begin() + ContainerHeader::size, bytes.end()});
    const std::vector<Fault> faults = faults_.take(Phase::Response, command.code);
    container(ContainerHeader::decode(bytes), parameters, faults);
    // From here on the host has the whole response.
    step(Kind::Completed);
    // A surplus packet comes after the completion, because a host needn't read it, and then finds
    // it in the next transaction.
    surplus(faults);
    if (!faults_.take(Phase::After, command.code).empty()) step(Kind::Stall);
}

void ReplyScript::container(ContainerHeader header, const Payload& payload,
                            const std::vector<Fault>& faults) {
    before(header, faults);
    spoil(header, faults);
    if (body(header.encode(), payload, faults)) end(faults);
}

void ReplyScript::before(const ContainerHeader& header, const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        // A response that is glued to the data has to come with the data's last packet, so it can't
        // wait.
        if (fault.kind == FaultKind::Slow && !inTransfer_)
            pipe_.append({Kind::Wait, {}, std::chrono::milliseconds(fault.value)});
        if (fault.kind == FaultKind::ZeroPacketFirst) step(Kind::End);
        if (fault.kind == FaultKind::Stale) {
            send(staleContainer(header, fault.value));
            endTransfer();
        }
        if (fault.kind == FaultKind::Zeros) send(Payload::of(Bytes(std::min(fault.value, 4096u))));
    }
}

bool ReplyScript::body(const Bytes& header, const Payload& payload,
                       const std::vector<Fault>& faults) {
    static constexpr std::pair<FaultKind, Kind> breaks[]{{FaultKind::Unplug, Kind::Pulled},
                                                         {FaultKind::Stall, Kind::Stall},
                                                         {FaultKind::Silence, Kind::Silence}};
    // Each of these faults ends the container at a place of its payload.
    for (const auto& [kind, breaking] : breaks) {
        const Fault* const fault = find(faults, kind);
        if (!fault) continue;
        const std::size_t offset = fault->offsetIn(payload.bytes.size());
        const bool nothing = fault->at == 0;
        // A fault after the whole payload comes when the transfer has ended. Otherwise the last
        // packet would be withheld.
        if (!nothing && offset == payload.bytes.size()) {
            send(Payload::of(header));
            send(payload);
            endTransfer();
        } else if (!nothing) {
            sendWholePackets(header, payload, offset);
        }
        step(breaking);
        return false;
    }
    send(Payload::of(header));
    // The header goes alone, in a short packet.
    if (find(faults, FaultKind::SplitHeader)) endTransfer();
    if (const Fault* const cut = find(faults, FaultKind::Short)) {
        send(payload.part(0, cut->offsetIn(payload.bytes.size())));
        endTransfer();
        return false;
    }
    send(payload);
    return true;
}

void ReplyScript::end(const std::vector<Fault>& faults) {
    // The response follows in the same transfer.
    if (find(faults, FaultKind::Glue)) return;
    // A header that was split off, with nothing after it, has ended the transfer already.
    if (find(faults, FaultKind::SplitHeader) && inTransfer_ == 0) return;
    const bool lastPacketIsFull = inTransfer_ % pipe_.packetSize() == 0;
    // Without the zero-length packet the host's transfer simply goes on with the next container.
    if (lastPacketIsFull && find(faults, FaultKind::NoZeroPacket)) {
        inTransfer_ = 0;
        return;
    }
    if (lastPacketIsFull && find(faults, FaultKind::ExtraByte)) send(Payload::of(Bytes(1)));
    endTransfer();
}

void ReplyScript::surplus(const std::vector<Fault>& faults) {
    if (find(faults, FaultKind::ExtraZeroPacket)) endTransfer();
}

void ReplyScript::send(Payload payload) {
    if (payload.bytes.empty()) return;
    inTransfer_ += payload.bytes.size();
    pipe_.append({Kind::Send, std::move(payload), {}});
}

/// Sends the container up to `count` bytes of its payload, without a last packet that isn't full: a
/// real device would still be filling it.
void ReplyScript::sendWholePackets(const Bytes& header, const Payload& payload, std::size_t count) {
    const std::uint64_t together = inTransfer_ + header.size() + count;
    const std::size_t loose = together % pipe_.packetSize();
    if (loose >= header.size() + count) return;
    const std::size_t left = header.size() + count - loose;
    send(Payload::of({header.begin(), header.begin() + static_cast<std::ptrdiff_t>(
                                                           std::min(left, header.size()))}));
    if (left > header.size()) send(payload.part(0, left - header.size()));
}

void ReplyScript::endTransfer() {
    step(Kind::End);
    inTransfer_ = 0;
}

}  // namespace zlk::camsim
